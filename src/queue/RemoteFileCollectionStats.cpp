#include "queue/RemoteFileCollectionStats.h"

#include <limits>

namespace tarvo {

std::int64_t sumOfBytes(std::int64_t a, std::int64_t b) {
    std::int64_t result = 0;
    return __builtin_add_overflow(a, b, &result) ? std::numeric_limits<std::int64_t>::max() : result;
}

RemoteFileCollectionStats::RemoteFileCollectionStats(std::vector<std::shared_ptr<RemoteFile>> rfs,
                                                     std::int64_t bytesWithoutJobs)
    : m_rfs(std::move(rfs)), m_bytesWithoutJobs(bytesWithoutJobs) {
}

std::int64_t RemoteFileCollectionStats::totalBytes() const {
    std::int64_t total = m_bytesWithoutJobs;
    for (const auto& job : m_rfs) {
        const std::int64_t size = job->fileSize();
        if (size < 0)
            return -1;
        total = sumOfBytes(total, size);
    }
    return total;
}

std::int64_t RemoteFileCollectionStats::bytesDownloaded() const {
    std::int64_t total = m_bytesWithoutJobs;
    for (const auto& job : m_rfs)
        total = sumOfBytes(total, job->totalBytesDownloaded());
    return total;
}

double RemoteFileCollectionStats::percentDownloaded() const {
    const std::int64_t total = totalBytes();
    if (total < 1)
        return -1.0;
    return static_cast<double>(bytesDownloaded()) / static_cast<double>(total);
}

std::int64_t RemoteFileCollectionStats::currentSpeed() const {
    std::int64_t total = 0;
    for (const auto& job : m_rfs)
        total = sumOfBytes(total, job->bytesPerSecond());
    return total;
}

} // namespace tarvo
