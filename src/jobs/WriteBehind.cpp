#include "jobs/WriteBehind.h"

#include <memory>

namespace tarvo {

namespace {

/// Enough to be worth a turn of the disk, little enough to be written within one.
constexpr std::int64_t kStep = 32 * 1024 * 1024;

} // namespace

void WriteBehind::noteWritten(const FileHandle& file, std::int64_t count) {
    m_unflushed += count;
    if (m_unflushed < kStep || m_busy.exchange(true))
        return;
    m_unflushed = 0;
    m_queue.async([this, handle = std::make_shared<FileHandle>(file.duplicate())] {
        m_disk.beginFlush(handle->descriptor());
        m_busy = false;
    });
}

} // namespace tarvo
