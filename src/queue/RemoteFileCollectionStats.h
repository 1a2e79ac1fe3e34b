// Size, progress and speed of several jobs together.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "jobs/RemoteFile.h"

namespace tarvo {

/// The jobs are those of its making; what is told of them is read from them when it is asked for. Main
/// thread. Sums stop at the greatest number there is.
class RemoteFileCollectionStats {
public:
    /// `bytesWithoutJobs` have been downloaded by jobs that are there no more, and are counted too.
    explicit RemoteFileCollectionStats(std::vector<std::shared_ptr<RemoteFile>> rfs,
                                       std::int64_t bytesWithoutJobs = 0);

    /// -1 when the size of some job is negative, that is unknown; 0 without jobs.
    std::int64_t totalBytes() const;

    std::int64_t bytesDownloaded() const;

    /// A fraction, 1.0 when all is there; -1.0 when totalBytes() is below 1. Above 1.0 while a job that
    /// gives its unknown size as 0 has received something.
    double percentDownloaded() const;

    /// Bytes per second.
    std::int64_t currentSpeed() const;

private:
    const std::vector<std::shared_ptr<RemoteFile>> m_rfs;
    const std::int64_t m_bytesWithoutJobs;
};

/// Sizes are what servers claim: their sum may be more than a number holds, and then is the greatest.
std::int64_t sumOfBytes(std::int64_t a, std::int64_t b);

} // namespace tarvo
