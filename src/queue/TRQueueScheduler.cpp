#include "queue/TRQueueScheduler.h"

#include "base/Log.h"
#include "base/Runloop.h"
#include "base/Settings.h"

#include <algorithm>
#include <utility>

namespace tarvo {

TRQueueScheduler::TRQueueScheduler(RemoteFilesArrayController& remoteFiles, std::int64_t targetConcurrency,
                                   TRQueueSchedulerDelegate& delegate, const Environment& environment)
    : m_remoteFiles(remoteFiles), m_targetConcurrency(targetConcurrency), m_environment(environment),
      m_retries(remoteFiles, environment.clock, environment.retryDelay,
                [this](const Job& job) { return reload(job); }),
      m_preparations(remoteFiles, delegate, environment.authManager,
                     [this](const Job& job) { Q_EMIT preparationEnded(job); }) {
    connect(&m_remoteFiles, &RemoteFilesArrayController::jobStateChanged, this,
            [this](const Job& job, rf_state_t oldState, rf_state_t newState) {
                m_preparations.noteState(job, newState);
                if (oldState == rf_state_ready)
                    m_starting.erase(job);
            });
    m_removals = m_environment.notifications.observe(
        RemoteFilesArrayController::kWillRemove, [this](const Notification& removal) {
            if (const auto* job = removal.info<Job>(RemoteFilesArrayController::kRemoteFileKey))
                forget(*job);
        });
}

TRQueueScheduler::~TRQueueScheduler() {
    stopScheduling();
}

void TRQueueScheduler::setTargetConcurrency(std::int64_t target) {
    Runloop::assertMain();
    m_targetConcurrency = target;
}

void TRQueueScheduler::stopScheduling() {
    Runloop::assertMain();
    if (std::exchange(m_stopped, true))
        return;
    m_retries.stop();
    m_preparations.stop();
}

void TRQueueScheduler::forget(const Job& job) {
    for (JobSet* set : {&m_pausedSet, &m_runningSet, &m_starting})
        set->erase(job);
    m_preparations.forget(job);
}

void TRQueueScheduler::invokeAutorunPass() {
    Runloop::assertMain();
    if (m_stopped)
        return;
    m_retries.pass();
    startJobsUntilConcurrency(m_targetConcurrency);
}

void TRQueueScheduler::invokeMaintenancePass() {
    Runloop::assertMain();
    if (m_stopped)
        return;
    m_preparations.setConcurrency(Settings(m_environment.defaults).preparationConcurrency());
    m_preparations.sweepAndMakeReady();
    updateRunningAndPausedJobs();
}

void TRQueueScheduler::addToPausedSet(const Job& job) {
    Runloop::assertMain();
    m_runningSet.erase(job);
    m_pausedSet.insert(job);
}

void TRQueueScheduler::addToRunningSet(const Job& job) {
    Runloop::assertMain();
    m_pausedSet.erase(job);
    m_runningSet.insert(job);
}

void TRQueueScheduler::clearSets() {
    Runloop::assertMain();
    m_pausedSet.clear();
    m_runningSet.clear();
}

void TRQueueScheduler::clearCompleted() {
    Runloop::assertMain();
    std::vector<Job> completed;
    m_remoteFiles.content().forEachIn({rf_state_succeeded}, [&](const Job& job) {
        completed.push_back(job);
        return true;
    });
    m_remoteFiles.removeRemoteFiles(completed);
}

Result<TRQueueScheduler::Job> TRQueueScheduler::reload(const Job& job) {
    const bool isPaused = m_pausedSet.contains(job);
    auto fresh = m_remoteFiles.reloadRemoteFile(job);
    if (fresh && isPaused) // what the user holds back stays held back
        addToPausedSet(*fresh);
    return fresh;
}

void TRQueueScheduler::updateRunningAndPausedJobs() {
    std::vector<Job> wanted(m_runningSet.begin(), m_runningSet.end());
    std::erase_if(wanted, [this](const Job& job) { return !m_remoteFiles.content().contains(*job); });
    std::sort(wanted.begin(), wanted.end(), [this](const Job& job, const Job& other) {
        return m_remoteFiles.content().rankOf(*job) < m_remoteFiles.content().rankOf(*other);
    });
    for (const auto& job : wanted) {
        if (resumeOrStartRemoteFile(job))
            Log::verbose("Scheduler started queued job {}", job->fileName());
    }
    if (m_pausedSet.empty())
        return;
    m_remoteFiles.content().forEachIn({rf_state_running}, [this](const Job& job) {
        if (m_pausedSet.contains(job))
            job->pause();
        return true;
    });
}

void TRQueueScheduler::startJobsUntilConcurrency(std::int64_t target) {
    auto slots = target - static_cast<std::int64_t>(m_remoteFiles.runningJobs() + m_starting.size());
    if (slots < 1)
        return;
    m_remoteFiles.content().forEachIn({rf_state_ready, rf_state_paused}, [&](const Job& job) {
        if (m_runningSet.contains(job) || m_pausedSet.contains(job) || placesKeptFrom(job) >= slots)
            return true;
        if (resumeOrStartRemoteFile(job)) {
            Log::verbose("Scheduler started next job {}", job->fileName());
            --slots;
        }
        return slots > 0;
    });
}

/// For those ahead of it in the queue that are still being prepared, though that was begun before:
/// preparations side by side must not change the order of the downloads.
std::int64_t TRQueueScheduler::placesKeptFrom(const Job& job) const {
    const JobList& content = m_remoteFiles.content();
    const auto earlier = m_preparations.begunBefore(job);
    return std::count_if(earlier.begin(), earlier.end(), [&](const Job& other) {
        return !m_pausedSet.contains(other) && !m_runningSet.contains(other) &&
               content.rankOf(*other) < content.rankOf(*job);
    });
}

bool TRQueueScheduler::resumeOrStartRemoteFile(const Job& job) {
    if (m_starting.contains(job))
        return false;
    if (!job->resumeOrStart(m_environment.concurrentDownloadQueue))
        return false;
    job->attemptNumber += 1;
    if (job->currentState() == rf_state_ready)
        m_starting.insert(job);
    return true;
}

} // namespace tarvo
