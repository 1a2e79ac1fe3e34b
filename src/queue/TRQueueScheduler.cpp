#include "queue/TRQueueScheduler.h"

#include "base/Disk.h"
#include "base/Log.h"
#include "base/Runloop.h"

#include <algorithm>
#include <set>

#include <QPointer>

namespace tarvo {

Seconds retryDelayAfter(std::uint64_t fruitless, Seconds delay) {
    for (std::uint64_t i = kPatientAttempts; i < fruitless && delay < kMostRetryDelay; ++i)
        delay = std::min(delay * 2, kMostRetryDelay);
    return delay;
}

TRQueueScheduler::TRQueueScheduler(RemoteFilesArrayController& remoteFiles, std::int64_t targetConcurrency,
                                   TRQueueSchedulerDelegate& delegate, const Environment& environment)
    : m_remoteFiles(remoteFiles), m_targetConcurrency(targetConcurrency), m_delegate(delegate),
      m_environment(environment) {
    connect(&m_remoteFiles, &RemoteFilesArrayController::jobStateChanged, this,
            [this](const Job& job, rf_state_t oldState, rf_state_t newState) {
                noteBytes(*job, oldState, newState);
                if (oldState == rf_state_initializing)
                    m_awaitingPreparation.erase(job);
                else if (oldState == rf_state_ready)
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

void TRQueueScheduler::stopScheduling() {
    if (m_stopped.exchange(true))
        return;
    m_environment.authManager.cancelPrompt();
    m_delegate.closePages();
}

void TRQueueScheduler::forget(const Job& job) {
    for (JobSet* set : {&m_pausedSet, &m_runningSet, &m_awaitingPreparation, &m_starting})
        set->erase(job);
    if (m_askedFor == job)
        m_environment.authManager.cancelPrompt();
}

void TRQueueScheduler::invokeAutorunPass() {
    if (m_stopped)
        return;
    retryFailedDownloads();
    startJobsUntilConcurrency(m_targetConcurrency);
}

void TRQueueScheduler::invokeMaintenancePass() {
    if (m_stopped)
        return;
    sweepAndMakeReady();
    updateRunningAndPausedJobs();
}

void TRQueueScheduler::addToPausedSet(const Job& job) {
    m_runningSet.erase(job);
    m_pausedSet.insert(job);
}

void TRQueueScheduler::addToRunningSet(const Job& job) {
    m_pausedSet.erase(job);
    m_runningSet.insert(job);
}

void TRQueueScheduler::clearSets() {
    m_pausedSet.clear();
    m_runningSet.clear();
}

void TRQueueScheduler::clearCompleted() {
    std::vector<Job> completed;
    m_remoteFiles.content().forEachIn({rf_state_succeeded}, [&](const Job& job) {
        completed.push_back(job);
        return true;
    });
    m_remoteFiles.removeRemoteFiles(completed);
}

void TRQueueScheduler::sweepAndMakeReady() {
    if (m_remoteFiles.jobsInState(rf_state_initializing) == m_awaitingPreparation.size())
        return; // nothing new, however many wait
    m_remoteFiles.content().forEachIn({rf_state_initializing}, [this](const Job& job) {
        if (m_awaitingPreparation.contains(job))
            return true;
        Log::verbose("Scheduler found file in RF_INIT state: {}", job->description());
        makeReadyInBackgroundIfNeeded(job);
        return true;
    });
}

void TRQueueScheduler::makeReadyInBackgroundIfNeeded(const Job& job) {
    if (!Log::assertThat(job != nullptr))
        return;
    m_awaitingPreparation.insert(job);
    const bool isNew =
        m_readyQueueSetQueue.sync([&] { return m_remoteFilesInReadyingQueue.insert(job).second; });
    if (!isNew) {
        Log::warning("RemoteFile {} is already scheduled to make ready. We will not add it again.",
                     job->description());
        return;
    }
    Log::verbose("Remote file {} scheduled to make ready", job->description());
    m_readyingQueue.async([this, job] {
        Log::verbose("Remote file {} set to make ready", job->description());
        makeReadyAndHandleFailures(job);
        m_readyQueueSetQueue.async([this, job] { m_remoteFilesInReadyingQueue.erase(job); });
        Runloop::runOnMainLater([weak = QPointer(this), job] {
            if (weak)
                Q_EMIT weak->preparationEnded(job);
        });
    });
}

void TRQueueScheduler::makeReadyAndHandleFailures(const Job& job) {
    AuthenticationManager& known = m_environment.authManager;
    auto asking = job->url();
    std::set<std::string> tried; // the services whose known credentials have been
    bool goesOn = true;
    while (goesOn && !m_stopped) {
        if (asking)
            tried.insert(AuthenticationManager::getServiceNameFromURL(*asking));
        const auto ready = job->makeReadyAndBlock(asking ? known.getCredentialsForURL(*asking) : nullptr);
        if (ready || ready.error().domain != ErrorDomain::RemoteFile)
            return;
        if (ready.error().code == HTMLPageErrorCode) {
            Log::info("Encountered HTMLPageErrorCode");
            openHTMLPageInBrowser(job);
            return;
        }
        if (ready.error().code != kRemoteFileAuthenticationErrorCode)
            return;
        Log::info("Encountered kRemoteFileAuthenticationErrorCode");
        // Redirects may have led there: the user's login name and keys are not shown around for that.
        asking = job->authenticationUrl();
        const bool isNews = asking && known.knowsCredentialsForURL(*asking) &&
                            !tried.contains(AuthenticationManager::getServiceNameFromURL(*asking));
        goesOn = isNews || promptUserForAuthCredentials(job);
    }
}

/// Answers whether the user has answered.
bool TRQueueScheduler::promptUserForAuthCredentials(const Job& job) {
    bool answered = false;
    // The job may leave the queue before the question comes up, and while it is open.
    const auto isWanted = [&] {
        return !m_stopped && job->currentState() == rf_state_failed && m_remoteFiles.content().contains(*job);
    };
    Runloop::runOnMainAndWait([&] {
        if (!isWanted())
            return;
        m_askedFor = job;
        answered =
            m_environment.authManager.promptUserForCredentialsForURL(*job->authenticationUrl()) && isWanted();
        m_askedFor.reset();
    });
    return answered;
}

void TRQueueScheduler::openHTMLPageInBrowser(const Job& job) {
    Job replacement;
    const BrowserEndReason reason = m_delegate.openBrowserFor(job, replacement);
    switch (reason) {
    case BrowserEndReason::cancelled:
        return;
    case BrowserEndReason::movedOut:
        Runloop::runOnMainAndWait([&] {
            if (m_remoteFiles.content().contains(*job))
                m_remoteFiles.removeRemoteFile(job);
        });
        return;
    case BrowserEndReason::download:
        if (!Log::assertThat(replacement != nullptr))
            return;
        Log::debug("Browser got us a new remote file {}", replacement->description());
        Runloop::runOnMainAndWait([&] { adoptReplacement(job, replacement); });
        return;
    }
    Log::assertThat(false);
}

void TRQueueScheduler::adoptReplacement(const Job& job, const Job& replacement) {
    // The user may have removed the job while he looked at its page; what he has found there is kept.
    const auto adopted = m_remoteFiles.content().contains(*job)
                             ? m_remoteFiles.replaceRemoteFile(job, replacement)
                             : m_remoteFiles.addRemoteFile(replacement);
    if (!adopted)
        m_delegate.schedulerFailed(adopted.error());
    m_delegate.schedulerAddedFiles();
}

void TRQueueScheduler::noteBytes(RemoteFile& job, rf_state_t oldState, rf_state_t newState) {
    if (oldState == rf_state_ready && newState == rf_state_running)
        job.bytesAtStart = job.totalBytesDownloaded();
    if (newState != rf_state_failed || job.awaitedBundle()) // looking for that is no attempt
        return;
    const bool isFruitful = job.bytesAtStart && job.totalBytesDownloaded() > *job.bytesAtStart;
    job.fruitlessAttempts = isFruitful ? 0 : job.fruitlessAttempts + 1;
}

void TRQueueScheduler::retryFailedDownloads() {
    std::vector<Job> awaiting;
    m_remoteFiles.content().forEachIn({rf_state_failed}, [&](const Job& job) {
        if (!job->nextScheduledRun) {
            const auto& error = job->error();
            if (!error || !job->isRetryable())
                return true;
            Log::verbose("Scheduler found file with error: {}", error->sentence());
            if (!job->errorDate())
                return true;
            scheduleRetry(*job);
        }
        const Seconds wait = *job->nextScheduledRun - m_environment.clock.now();
        if (wait.count() > 0)
            Log::verbose("Scheduler will wait until {:.1f} s from now", wait.count());
        else if (job->awaitedBundle())
            awaiting.push_back(job);
        else
            retry(job);
        return true;
    });
    if (!awaiting.empty() && !m_isLookingForBundles)
        lookForBundles(awaiting);
}

void TRQueueScheduler::scheduleRetry(RemoteFile& job) const {
    const Seconds delay = retryDelayAfter(job.fruitlessAttempts, m_environment.retryDelay);
    job.nextScheduledRun = *job.errorDate() + std::chrono::duration_cast<TimePoint::duration>(delay);
}

/// Not on the main thread: where a disk is missing, a look may take its time.
void TRQueueScheduler::lookForBundles(const std::vector<Job>& jobs) {
    m_isLookingForBundles = true;
    std::vector<std::string> paths;
    paths.reserve(jobs.size());
    for (const auto& job : jobs)
        paths.push_back(job->awaitedBundle().value_or(""));
    m_bundleSearchQueue.async([scheduler = QPointer(this), jobs, paths] {
        std::vector<bool> found;
        found.reserve(paths.size());
        for (const auto& path : paths)
            found.push_back(Disk::exists(path));
        Runloop::runOnMainLater([scheduler, jobs, found] {
            if (scheduler)
                scheduler->retryIfFound(jobs, found);
        });
    });
}

void TRQueueScheduler::retryIfFound(const std::vector<Job>& jobs, const std::vector<bool>& found) {
    m_isLookingForBundles = false;
    const auto next =
        m_environment.clock.now() + std::chrono::duration_cast<TimePoint::duration>(m_environment.retryDelay);
    for (std::size_t i = 0; i < jobs.size(); ++i) {
        if (!found[i])
            jobs[i]->nextScheduledRun = next;
        else if (!m_stopped && m_remoteFiles.content().contains(*jobs[i]))
            retry(jobs[i]);
    }
}

void TRQueueScheduler::retry(const Job& job) {
    Log::verbose("Scheduler will retry. This is attempt {}", job->attemptNumber + 1);
    const bool isPaused = m_pausedSet.contains(job);
    const auto fresh = m_remoteFiles.reloadRemoteFile(job);
    if (!fresh) {
        Log::error("Error while trying to reload: {}", fresh.error().description);
        return;
    }
    (*fresh)->attemptNumber = job->attemptNumber;
    (*fresh)->fruitlessAttempts = job->fruitlessAttempts;
    noteBytes(**fresh, rf_state_initializing, (*fresh)->currentState()); // it may have failed at once
    if (isPaused) // what the user holds back stays held back
        addToPausedSet(*fresh);
}

void TRQueueScheduler::updateRunningAndPausedJobs() {
    std::vector<Job> wanted(m_runningSet.begin(), m_runningSet.end());
    std::erase_if(wanted, [this](const Job& job) { return !m_remoteFiles.content().contains(*job); });
    std::sort(wanted.begin(), wanted.end(), [this](const Job& job, const Job& other) {
        return m_remoteFiles.content().isBefore(*job, *other);
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
        if (m_runningSet.contains(job) || m_pausedSet.contains(job))
            return true;
        if (resumeOrStartRemoteFile(job)) {
            Log::verbose("Scheduler started next job {}", job->fileName());
            --slots;
        }
        return slots > 0;
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
