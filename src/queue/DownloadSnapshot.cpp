#include "queue/DownloadSnapshot.h"

namespace tarvo {

DownloadSnapshot snapshotOf(const RemoteFile& job) {
    const auto url = job.url();
    return {url ? url->withoutPassword() : job.basePath() + "/" + job.fileName(),
            job.fileName(),
            job.totalBytesDownloaded(),
            job.fileSize(),
            job.bytesPerSecond(),
            job.activeConnections(),
            Seconds(job.secondsRemaining()),
            job.bytesVerified(),
            job.userRequestedPartitions(),
            job.connectionLimit()};
}

} // namespace tarvo
