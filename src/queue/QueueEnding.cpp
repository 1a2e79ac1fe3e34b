#include "queue/QueueEnding.h"

#include "base/Runloop.h"

#include <utility>

namespace tarvo {

namespace {

constexpr int kIdleCheckMs = 5;

} // namespace

QueueEnding::QueueEnding(RemoteFilesArrayController& remoteFiles, TRQueueScheduler& scheduler,
                         JobFiles& files, WorkQueue& workers)
    : m_remoteFiles(remoteFiles), m_scheduler(scheduler), m_files(files), m_workers(workers) {
    connect(&m_idleTimer, &QTimer::timeout, this, &QueueEnding::lookForWorkers);
}

void QueueEnding::begin() {
    Runloop::assertMain();
    if (std::exchange(m_hasBegun, true))
        return;
    Q_EMIT begun();
    m_scheduler.stopScheduling();
    m_remoteFiles.content().forEachIn({rf_state_running, rf_state_paused}, [this](const Job& job) {
        // Suspended first, so that it ends at once however long the disk takes to save.
        job->pause();
        m_files.save(job, [this, job](const Result<void>& saved) {
            job->stop();
            Q_EMIT suspended(job, saved.has_value());
        });
        return true;
    });
    // Also those that are about to start: a job that is ready is as good after a stop.
    for (const auto& job : m_remoteFiles.contentAsArray()) {
        if (job->currentState() == rf_state_preparing || job->currentState() == rf_state_ready)
            job->stop();
    }
    m_idleTimer.start(kIdleCheckMs);
}

void QueueEnding::lookForWorkers() {
    if (!m_workers.isIdle() || !m_scheduler.isIdle() || !m_files.isIdle())
        return;
    m_idleTimer.stop();
    Q_EMIT workersGone();
}

} // namespace tarvo
