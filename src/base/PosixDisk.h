// The file system of this machine, for all that touches files.
#pragma once

#include "base/Disk.h"

namespace tarvo {

/// See Disk for each operation.
class PosixDisk : public Disk {
public:
    Result<FileHandle> openOrCreate(const std::string& path) override;
    Result<void> writeAt(int descriptor, std::string_view bytes, std::int64_t offset,
                         const std::string& path) override;
    Result<void> truncate(int descriptor, std::int64_t length, const std::string& path) override;
    Result<void> flush(int descriptor, const std::string& path) override;
    void beginFlush(int descriptor) override;
    Result<void> replaceFile(const std::string& path, std::string_view bytes, bool durable = true) override;
    Result<void> lockExclusively(int descriptor, const std::string& path) override;
    void setUsualPermissions(int descriptor) override;
    Result<void> renameNoReplace(const std::string& from, const std::string& to) override;
    Result<void> copyFile(const std::string& from, const std::string& to) override;
    Result<void> flushFolder(const std::string& path) override;
    Result<void> makeFolders(const std::string& path) override;
    Result<void> removeTree(const std::string& path) override;
    Result<std::string> readFile(const std::string& path, std::int64_t limit) override;
    std::optional<std::int64_t> freeSpace(const std::string& path) override;
};

} // namespace tarvo
