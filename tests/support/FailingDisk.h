// A disk that fails: on its nth call of one operation, once or from then on.
#pragma once

#include "base/Disk.h"

#include <atomic>
#include <string>

namespace tarvo::test {

class FailingDisk final : public PosixDisk {
public:
    /// Operations are named like the member functions: "writeAt", "flush", "replaceFile", …
    /// `call` counts from 1; with `forGood` every later call fails too.
    void failOn(std::string operation, int call, int errorNumber, bool forGood = true) {
        m_operation = std::move(operation);
        m_errorNumber = errorNumber;
        m_forGood = forGood;
        m_left = call;
    }

    void recover() { m_left = 0; }

    Result<FileHandle> openOrCreate(const std::string& path) override {
        return fails("openOrCreate") ? refuse("open", path) : PosixDisk::openOrCreate(path);
    }

    Result<void> writeAt(int descriptor, std::string_view bytes, std::int64_t offset,
                         const std::string& path) override {
        return fails("writeAt") ? refuse("write", path) : PosixDisk::writeAt(descriptor, bytes, offset, path);
    }

    Result<void> truncate(int descriptor, std::int64_t length, const std::string& path) override {
        return fails("truncate") ? refuse("truncate", path) : PosixDisk::truncate(descriptor, length, path);
    }

    Result<void> flush(int descriptor, const std::string& path) override {
        return fails("flush") ? refuse("flush", path) : PosixDisk::flush(descriptor, path);
    }

    Result<void> replaceFile(const std::string& path, std::string_view bytes, bool durable) override {
        return fails("replaceFile") ? refuse("replace", path) : PosixDisk::replaceFile(path, bytes, durable);
    }

    Result<void> renameNoReplace(const std::string& from, const std::string& to) override {
        return fails("renameNoReplace") ? refuse("move", to) : PosixDisk::renameNoReplace(from, to);
    }

    Result<void> makeFolders(const std::string& path) override {
        return fails("makeFolders") ? refuse("create", path) : PosixDisk::makeFolders(path);
    }

    Result<void> removeTree(const std::string& path) override {
        return fails("removeTree") ? refuse("remove", path) : PosixDisk::removeTree(path);
    }

private:
    bool fails(std::string_view operation) {
        if (operation != m_operation || m_left == 0)
            return false;
        if (m_left > 1) {
            --m_left;
            return false;
        }
        if (!m_forGood)
            m_left = 0;
        return true;
    }

    tl::unexpected<Error> refuse(std::string_view operation, const std::string& path) const {
        return failure(Error::posix(m_errorNumber, operation, path));
    }

    std::string m_operation;
    int m_errorNumber = 0;
    bool m_forGood = true;
    std::atomic<int> m_left{0};
};

} // namespace tarvo::test
