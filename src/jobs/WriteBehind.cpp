#include "jobs/WriteBehind.h"

namespace tarvo {

namespace {

/// Enough to be worth a turn of the disk, little enough to be written within one.
constexpr std::int64_t kStep = 32 * 1024 * 1024;

} // namespace

void WriteBehind::noteWritten(const std::shared_ptr<const FileHandle>& file, std::int64_t count) {
    m_unflushed += count;
    if (m_unflushed < kStep || m_busy.exchange(true))
        return;
    m_unflushed = 0;
    m_queue.async([this, file] {
        m_disk.beginFlush(file->descriptor());
        m_busy = false;
    });
}

} // namespace tarvo
