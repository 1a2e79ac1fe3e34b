// Keeps the disk busy while a download runs, so that saving and finishing find little left to flush.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "base/Disk.h"
#include "base/SerialQueue.h"

namespace tarvo {

/// Lives as long as one transfer. noteWritten() belongs to the thread that writes; the writing out happens on
/// a thread of its own, for it may wait for the disk, which the transfer must not.
class WriteBehind {
public:
    explicit WriteBehind(Disk& disk) : m_disk(disk) {}

    /// `count` more bytes of `file` are in memory.
    void noteWritten(const std::shared_ptr<const FileHandle>& file, std::int64_t count);

private:
    Disk& m_disk;
    std::int64_t m_unflushed = 0;
    std::atomic<bool> m_busy{false};
    SerialQueue m_queue{"write behind"};
};

} // namespace tarvo
