#include "queue/ChecksumWatch.h"

#include "base/Log.h"
#include "base/Runloop.h"
#include "jobs/Checksum.h"

namespace tarvo {

class ChecksumWatch::Cancellation final : public TRFileHashDelegate {
public:
    bool update(TRFileHash&, std::int64_t, std::int64_t) override { return !isCancelled; }

    std::atomic<bool> isCancelled{false};
};

ChecksumWatch::ChecksumWatch(RemoteFilesArrayController& queue, AlertPresenter& alerts)
    : m_alerts(alerts), m_cancellation(std::make_shared<Cancellation>()) {
    Runloop::assertMain();
    connect(&queue, &RemoteFilesArrayController::jobStateChanged, this,
            [this](const std::shared_ptr<RemoteFile>& job, rf_state_t, rf_state_t state) {
                if (state == rf_state_succeeded && job->expectedChecksum())
                    compare(job);
            });
}

ChecksumWatch::~ChecksumWatch() {
    m_cancellation->isCancelled = true;
}

void ChecksumWatch::compare(const std::shared_ptr<RemoteFile>& job) {
    const std::string path = job->finalFilePath().value_or("");
    const auto algorithm = job->expectedChecksum()->algorithm;
    m_hashingQueue.async([this, job, path, algorithm, watch = m_cancellation] {
        const auto found = digestOf(path, algorithm, watch);
        Runloop::runOnMainLater([this, job, watch, found] {
            if (!watch->isCancelled)
                tell(job, found);
        });
    });
}

void ChecksumWatch::tell(const std::shared_ptr<RemoteFile>& job, const std::optional<std::string>& found) {
    const Checksum wanted = *job->expectedChecksum();
    const bool isRight = found == wanted.digest;
    const std::string path = job->finalFilePath().value_or("");
    if (isRight)
        Log::info("The checksum of \"{}\" is the one that was asked for", path);
    else
        m_alerts.presentError(wrongChecksum(path, found, wanted));
    Q_EMIT compared(job, isRight);
}

} // namespace tarvo
