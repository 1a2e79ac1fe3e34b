#include "queue/QueueController.h"

#include "base/Localized.h"
#include "base/Log.h"
#include "base/Runloop.h"
#include "base/Settings.h"
#include "jobs/CURLRemoteFile.h"
#include "queue/QueueNotifications.h"

#include <algorithm>
#include <cerrno>

namespace tarvo {

namespace {

constexpr int kOneSecondMs = 1'000;
constexpr int kTenSecondsMs = 10'000;
constexpr int kIdleCheckMs = 5;
constexpr std::size_t kMostJobs = 20'000; // above this a person no longer finds anything, and all gets slow

} // namespace

QueueController::QueueController(const Environment& environment)
    : m_environment(environment), m_remoteFiles(environment.notifications),
      m_sleepManager(environment.desktop ? std::make_unique<QuitAndSleepManager>(environment.desktop->sleep)
                                         : nullptr),
      m_termination(environment.desktop ? std::make_unique<AutomaticTerminationUpdater>(
                                              environment.desktop->windowIsVisible, m_remoteFiles,
                                              environment.jobs.defaults, environment.desktop->termination)
                                        : nullptr),
      m_scheduler(m_remoteFiles, 1, *this,
                  {environment.jobs.clock, environment.notifications, environment.authManager,
                   m_concurrentDownloadQueue, environment.retryDelay}),
      m_userNotifier(environment.desktop
                         ? std::make_unique<UserNotifier>(m_remoteFiles, environment.notifications,
                                                          environment.desktop->notices)
                         : nullptr),
      m_statsBroadcaster(m_remoteFiles, environment.notifications),
      m_launcherStatus(environment.desktop ? std::make_unique<LauncherStatusFeeder>(
                                                 m_remoteFiles, environment.notifications,
                                                 environment.jobs.defaults, environment.desktop->badge)
                                           : nullptr) {
    connectSignals();
    updateStartStopControl();
    if (environment.session) {
        m_stateSaver =
            std::make_unique<QueueStateSaver>(m_remoteFiles, *environment.session, environment.jobs);
        m_stateSaver->restoreUIState();
        m_stateSaver->beginSavingStateWhenNeeded();
    }
    m_oneSecondTimer.start(kOneSecondMs);
    m_tenSecondTimer.start(kTenSecondsMs);
}

void QueueController::connectSignals() {
    connect(&m_remoteFiles, &RemoteFilesArrayController::jobStateChanged, this,
            [this](const Job&, rf_state_t, rf_state_t state) { m_hasNews |= state == rf_state_succeeded; });
    connect(&m_remoteFiles, &RemoteFilesArrayController::allChildStatesChanged, this, [this] {
        updateCurrentState();
        m_nextTurnTimer.start();
    });
    connect(&m_remoteFiles, &RemoteFilesArrayController::contentArraySizeChanged, this,
            [this] { m_nextTurnTimer.start(); });
    connect(&m_scheduler, &TRQueueScheduler::preparationEnded, this, &QueueController::preparationEnded);
    connect(&m_oneSecondTimer, &QTimer::timeout, this, &QueueController::oneSecondTick);
    connect(&m_tenSecondTimer, &QTimer::timeout, this, &QueueController::saveAllProgress);
    m_nextTurnTimer.setInterval(0);
    m_nextTurnTimer.setSingleShot(true);
    connect(&m_nextTurnTimer, &QTimer::timeout, this, &QueueController::runPasses);
    connect(&m_idleTimer, &QTimer::timeout, this, &QueueController::endWhenIdle);
}

QueueController::~QueueController() = default;

Result<void> QueueController::addDownloads(const std::vector<Job>& jobs) {
    if (m_hasEnded)
        return failure(programEnds());
    std::vector<Job> others;
    for (const auto& job : jobs) {
        const Job old = job ? m_remoteFiles.remoteFile(job->identity()) : nullptr;
        if (!old || old == job || old->currentState() != rf_state_succeeded)
            others.push_back(job);
        else if (const auto replaced = m_remoteFiles.replaceRemoteFile(old, job); !replaced)
            Log::error("A finished download can't be begun anew: {}", replaced.error().sentence());
    }
    auto added = m_remoteFiles.addRemoteFiles(others);
    autostartIfNeeded();
    return added;
}

bool QueueController::isUnfinished(const std::string& identity) const {
    const Job job = m_remoteFiles.remoteFile(identity);
    return job && job->currentState() != rf_state_succeeded;
}

void QueueController::whenKept(std::function<void(bool kept)> done) {
    if (m_stateSaver)
        m_stateSaver->whenSaved(std::move(done));
    else
        done(true);
}

Error QueueController::programEnds() {
    return Error::localized(ErrorDomain::Tarvo, kTarvoGeneral, "tr.err.program-ends",
                            "tr.err.program-ends-recovery");
}

Result<void> QueueController::addBundleFile(const std::string& bundleDirectory) {
    if (m_hasEnded)
        return failure(programEnds());
    if (freePlaces() == 0)
        return failure(queueIsFull());
    // Before there is a job, whose failure would be a line of the log for every call from outside.
    const auto bundle = ProgressBundle::fromBundleDirectory(bundleDirectory);
    if (!bundle)
        return failure(Error::tarvo(localized("tr.err.no-bundle", {bundleDirectory})));
    if (!bundle->progressFileExists())
        return failure(Error::posix(ENOENT, "open the bundle", bundleDirectory));
    const auto job = CURLRemoteFile::fromBundleFile(bundleDirectory, m_environment.jobs);
    if (job->error())
        return failure(*job->error());
    return m_remoteFiles.addRemoteFile(job);
}

std::size_t QueueController::freePlaces() const {
    return kMostJobs - std::min(m_remoteFiles.content().size(), kMostJobs);
}

Error QueueController::queueIsFull() {
    return Error::tarvo(localized("tr.err.queue-full", {std::to_string(kMostJobs)}),
                        localized("tr.err.queue-full-recovery"));
}

void QueueController::autostartIfNeeded() {
    if (Settings(m_environment.jobs.defaults).autoStartAfterAdd())
        setRunState(QueueRunState::running);
}

void QueueController::oneSecondTick() {
    runPasses();
    Q_EMIT ticked();
    if (m_sleepManager)
        m_sleepManager->setActiveDownloads(m_remoteFiles.runningJobs());
    if (m_termination)
        m_termination->updateAutomaticTerminationStatus();
    m_statsBroadcaster.broadcastStats();
    m_environment.jobs.transfers.connectionPools->closeIdle(m_environment.jobs.clock.now());
}

void QueueController::runPasses() {
    if (m_runState == QueueRunState::running) {
        m_pauseStateTransitions = true;
        m_scheduler.setTargetConcurrency(Settings(m_environment.jobs.defaults).defaultConcurrency());
        m_scheduler.invokeAutorunPass();
        m_pauseStateTransitions = false;
    }
    m_scheduler.invokeMaintenancePass();
    updateCurrentState(); // for what the pass has kept from being noticed
    clearCompletedIfWanted();
}

/// Here, where everybody has heard that they are finished.
void QueueController::clearCompletedIfWanted() {
    if (!m_environment.session || m_remoteFiles.succeededJobs() == 0 ||
        !Settings(m_environment.jobs.defaults).autoClearCompleted())
        return;
    m_statsBroadcaster.countOnWithoutRows();
    m_scheduler.clearCompleted();
}

void QueueController::setRunState(QueueRunState state) {
    if (m_runState == state)
        return;
    m_runState = state;
    updateStartStopControl();
    Q_EMIT runStateChanged(state);
    updateCurrentState();
    m_nextTurnTimer.start();
}

void QueueController::updateStartStopControl() {
    switch (m_runState) {
    case QueueRunState::stopped:
        m_startStopControl = {localized("Start"), false};
        return;
    case QueueRunState::waiting: // shows what it has shown
        return;
    case QueueRunState::running:
        m_startStopControl = {localized("Pause"), true};
        return;
    case QueueRunState::paused:
        m_startStopControl = {localized("Resume"), false};
        return;
    }
}

void QueueController::updateCurrentState() {
    if (m_isQuitting) // what is stopped now has not come to its end
        return;
    if (m_pauseStateTransitions || m_remoteFiles.isReplacing()) {
        Log::verbose("Skip state transitions for now, since flag is set");
        return;
    }
    const bool isPending = m_remoteFiles.pendingJobs() > 0;
    const bool isActive = m_remoteFiles.activeJobs() > 0;
    switch (m_runState) {
    case QueueRunState::stopped:
        if (isPending)
            setRunState(QueueRunState::waiting);
        return;
    case QueueRunState::waiting:
    case QueueRunState::paused:
        if (isPending || isActive)
            return;
        m_hasNews = false; // the user has run it by hand
        setRunState(QueueRunState::stopped);
        return;
    case QueueRunState::running:
        if (isPending || isActive || m_remoteFiles.failedJobs() > 0)
            return;
        setRunState(QueueRunState::stopped);
        if (std::exchange(m_hasNews, false))
            m_environment.notifications.post(kQueueWindowCompletedAllDownloads, this);
        return;
    }
    Log::assertThat(false);
}

void QueueController::toggleAutorun() {
    if (m_runState == QueueRunState::running) {
        for (const auto& job : m_remoteFiles.contentAsArray())
            m_scheduler.addToPausedSet(job);
        setRunState(QueueRunState::paused);
    } else {
        m_scheduler.clearSets();
        setRunState(QueueRunState::running);
    }
    m_scheduler.invokeMaintenancePass();
}

void QueueController::pauseSelected() {
    for (const auto& job : m_remoteFiles.selectedObjects())
        m_scheduler.addToPausedSet(job);
    m_scheduler.invokeMaintenancePass();
    if (m_remoteFiles.pendingJobs() + m_remoteFiles.runningJobs() == 0)
        setRunState(QueueRunState::paused);
}

void QueueController::resumeSelected() {
    for (const auto& job : m_remoteFiles.selectedObjects())
        m_scheduler.addToRunningSet(job);
    m_scheduler.invokeMaintenancePass();
}

void QueueController::reloadSelected() {
    for (const auto& job : m_remoteFiles.selectedObjects()) {
        const rf_state_t state = job->currentState();
        if (state != rf_state_running && state != rf_state_paused) {
            reload(job, job->saveProgress());
            continue;
        }
        job->pause(); // so that all it has can be saved
        saveInBackground(job, [this, job](const Result<void>& saved) { reload(job, saved); });
    }
}

void QueueController::reload(const Job& job, const Result<void>& saved) {
    if (!m_remoteFiles.content().contains(*job)) // removed while it was being saved
        return;
    if (const auto fresh = m_remoteFiles.reloadSavedRemoteFile(job, saved); !fresh)
        m_environment.alerts.presentError(fresh.error());
}

void QueueController::removeSelected() {
    m_remoteFiles.removeRemoteFiles(m_remoteFiles.selectedObjects());
    m_remoteFiles.setSelectionIndexes({});
    saveSession();
}

/// What the user has removed stays away, whatever happens next.
void QueueController::saveSession() {
    if (m_stateSaver)
        m_stateSaver->saveUIState();
}

void QueueController::removeSelectedWithData() {
    const auto jobs = m_remoteFiles.selectedObjects();
    const auto button = m_environment.alerts.runAlert(
        localized("Remove Data?"), localized("Existing data will be removed. This cannot be undone."),
        {localized("OK"), localized("Cancel")});
    if (button != 0 || m_isQuitting) // no worker may begin behind the end of all
        return;
    for (const auto& job : jobs) {
        if (m_remoteFiles.content().contains(*job)) // and not gone while the question was open
            m_remoteFiles.removeRemoteFile(job);
    }
    m_remoteFiles.setSelectionIndexes({});
    saveSession();
    m_fileSavingQueue.async([this, jobs] { // large files take their time to go
        std::optional<Error> last;
        for (const auto& job : jobs) {
            if (auto problem = job->removeFiles())
                last = problem;
        }
        if (last)
            Runloop::runOnMainLater([this, last] { m_environment.alerts.presentError(*last); });
    });
}

void QueueController::saveAllProgress() {
    Log::info("Saving all progress...");
    m_remoteFiles.content().forEachIn({rf_state_running}, [this](const Job& job) {
        saveInBackground(job, nullptr);
        return true;
    });
}

void QueueController::saveInBackground(const Job& job, std::function<void(const Result<void>& saved)> done) {
    // A disk that takes longer than the time between two saves is not given more to do.
    if (!m_beingSaved.insert(job.get()).second && !done)
        return;
    m_fileSavingQueue.async([this, job, done = std::move(done)] {
        Log::info("Asynchronously saving rf {}", job->description());
        const auto saved = job->saveProgress();
        if (!saved)
            Log::error("Error: {}", saved.error().description);
        Runloop::runOnMainLater([this, job, done, saved] {
            m_beingSaved.erase(job.get());
            if (done)
                done(saved);
        });
    });
}

void QueueController::quit() {
    if (std::exchange(m_isQuitting, true))
        return;
    m_oneSecondTimer.stop();
    m_tenSecondTimer.stop();
    m_scheduler.stopScheduling();
    m_remoteFiles.content().forEachIn({rf_state_running, rf_state_paused}, [this](const Job& job) {
        // Suspended first, so that it ends at once however long the disk takes to save.
        job->pause();
        saveInBackground(job, [this, job](const Result<void>& saved) {
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

void QueueController::endWhenIdle() {
    if (!m_concurrentDownloadQueue.isIdle() || !m_scheduler.isIdle() || !m_fileSavingQueue.isIdle() ||
        !m_beingSaved.empty())
        return;
    m_idleTimer.stop();
    m_hasEnded = true;
    if (m_stateSaver)
        m_stateSaver->finishSaving();
    Q_EMIT ended();
}

BrowserEndReason QueueController::openBrowserFor(const Job& job, Job& replacement) {
    const BrowserEndReason reason = m_environment.pages.openBrowserFor(job, replacement);
    Log::info("Browser modal ended for reason: {}", static_cast<int>(reason));
    return reason;
}

void QueueController::closePages() {
    m_environment.pages.closePages();
}

void QueueController::schedulerAddedFiles() {
    autostartIfNeeded();
}

void QueueController::schedulerFailed(const Error& error) {
    m_environment.alerts.presentError(error);
}

} // namespace tarvo
