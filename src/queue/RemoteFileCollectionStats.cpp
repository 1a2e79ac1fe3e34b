#include "queue/RemoteFileCollectionStats.h"

#include <limits>

namespace tarvo {

namespace {

/// Sizes are what servers claim: their sum may be more than a number holds.
std::int64_t sum(std::int64_t a, std::int64_t b) {
    std::int64_t result = 0;
    return __builtin_add_overflow(a, b, &result) ? std::numeric_limits<std::int64_t>::max() : result;
}

} // namespace

RemoteFileCollectionStats::RemoteFileCollectionStats(std::vector<std::shared_ptr<RemoteFile>> rfs)
    : m_rfs(std::move(rfs)) {
}

std::int64_t RemoteFileCollectionStats::totalBytes() const {
    std::int64_t total = 0;
    for (const auto& job : m_rfs) {
        const std::int64_t size = job->fileSize();
        if (size < 0)
            return -1;
        total = sum(total, size);
    }
    return total;
}

std::int64_t RemoteFileCollectionStats::bytesDownloaded() const {
    std::int64_t total = 0;
    for (const auto& job : m_rfs)
        total = sum(total, job->totalBytesDownloaded());
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
        total = sum(total, job->bytesPerSecond());
    return total;
}

} // namespace tarvo
