#include "queue/TRQueueScheduler.h"

#include "base/Log.h"
#include "base/Runloop.h"

#include <algorithm>
#include <set>

#include <QPointer>

namespace tarvo {

TRQueueScheduler::TRQueueScheduler(RemoteFilesArrayController& remoteFiles, std::int64_t targetConcurrency,
                                   TRQueueSchedulerDelegate& delegate, const Environment& environment)
    : m_remoteFiles(remoteFiles), m_targetConcurrency(targetConcurrency), m_delegate(delegate),
      m_environment(environment), m_retries(remoteFiles, environment.clock, environment.retryDelay,
                                            [this](const Job& job) { return reload(job); }) {
    connect(&m_remoteFiles, &RemoteFilesArrayController::jobStateChanged, this,
            [this](const Job& job, rf_state_t oldState, rf_state_t) {
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

void TRQueueScheduler::setTargetConcurrency(std::int64_t target) {
    Runloop::assertMain();
    m_targetConcurrency = target;
}

void TRQueueScheduler::stopScheduling() {
    Runloop::assertMain();
    if (m_stopped.exchange(true))
        return;
    m_retries.stop();
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
    sweepAndMakeReady();
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
    // The user may have removed the job with its page open; what the page has brought is kept.
    const auto adopted = m_remoteFiles.content().contains(*job)
                             ? m_remoteFiles.replaceRemoteFile(job, replacement)
                             : m_remoteFiles.addRemoteFile(replacement);
    if (!adopted)
        m_delegate.schedulerFailed(adopted.error());
    m_delegate.schedulerAddedFiles();
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
