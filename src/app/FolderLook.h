// Looks at folders without keeping anybody waiting: a disk may take long to answer.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include <QObject>

#include "base/Disk.h"
#include "base/LookQueue.h"

namespace tarvo {

struct FolderFacts {
    bool isFolder = false;                   ///< a folder, or a link to one
    bool isWritable = false;                 ///< by this process
    bool canBeMade = false;                  ///< nothing stands there yet, and its parents can be written to
    std::optional<std::int64_t> freeBytes{}; ///< none where the file system does not say

    bool isUsable() const { return (isFolder && isWritable) || canBeMade; }
};

/// It waits for the disk: for a worker.
FolderFacts factsOfFolder(const std::string& path, Disk& disk);

/// Main thread.
class FolderLook {
public:
    /// `disk` lives as long as the process looks at it: see LookQueue.
    explicit FolderLook(Disk& disk) : m_disk(disk) {}

    /// Calls `told` on the main thread, unless `context` has gone by then.
    void ask(const std::string& path, QObject& context, std::function<void(const FolderFacts&)> told);

private:
    static constexpr std::size_t kMostLooks = 4; // one on a disk that is away holds no other back

    Disk& m_disk;
    LookQueue m_looks{kMostLooks};
};

} // namespace tarvo
