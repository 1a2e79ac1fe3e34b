#include "queue/QueueController.h"

#include "base/Localized.h"
#include "base/Log.h"
#include "base/Runloop.h"
#include "base/Settings.h"
#include "jobs/RenameJob.h"
#include "queue/QueueNotifications.h"

#include <algorithm>
#include <iterator>

namespace tarvo {

QueueController::QueueController(const Environment& environment)
    : m_environment(environment), m_remoteFiles(environment.notifications), m_run(m_remoteFiles),
      m_scheduler(m_remoteFiles, 1, *this,
                  {environment.jobs.defaults, environment.jobs.clock, environment.notifications,
                   environment.authManager, m_concurrentDownloadQueue, environment.retryDelay}),
      m_ending(m_remoteFiles, m_scheduler, m_files, m_concurrentDownloadQueue),
      m_statsBroadcaster(m_remoteFiles, environment.notifications) {
    if (environment.desktop)
        m_companions = std::make_unique<DesktopCompanions>(
            *environment.desktop, m_remoteFiles, environment.notifications, environment.jobs.defaults);
    connectSignals();
    if (environment.session) {
        m_stateSaver =
            std::make_unique<QueueStateSaver>(m_remoteFiles, *environment.session, environment.jobs);
        m_stateSaver->restoreUIState();
        m_stateSaver->beginSavingStateWhenNeeded();
    }
    m_oneSecondTimer.start(std::chrono::seconds(1));
    m_tenSecondTimer.start(std::chrono::seconds(10));
}

void QueueController::connectSignals() {
    const auto wakeUp = [this] { m_nextTurnTimer.start(); };
    connect(&m_run, &QueueRun::changed, this, &QueueController::runStateChanged);
    connect(&m_run, &QueueRun::changed, this, wakeUp);
    connect(&m_run, &QueueRun::completed, this,
            [this] { m_environment.notifications.post(kQueueWindowCompletedAllDownloads, this); });
    connect(&m_remoteFiles, &RemoteFilesArrayController::allChildStatesChanged, this, wakeUp);
    connect(&m_remoteFiles, &RemoteFilesArrayController::contentArraySizeChanged, this, wakeUp);
    connect(&m_scheduler, &TRQueueScheduler::preparationEnded, this, &QueueController::preparationEnded);
    connect(&m_ending, &QueueEnding::begun, this, &QueueController::ending);
    connect(&m_ending, &QueueEnding::suspended, this, &QueueController::suspended);
    connect(&m_ending, &QueueEnding::workersGone, this, &QueueController::endWithoutWorkers);
    connect(&m_oneSecondTimer, &QTimer::timeout, this, &QueueController::oneSecondTick);
    connect(&m_tenSecondTimer, &QTimer::timeout, this, &QueueController::saveAllProgress);
    m_nextTurnTimer.setInterval(0);
    m_nextTurnTimer.setSingleShot(true);
    connect(&m_nextTurnTimer, &QTimer::timeout, this, &QueueController::runPasses);
}

Result<void> QueueController::addDownloads(const std::vector<Job>& jobs, std::optional<bool> starts) {
    Runloop::assertMain();
    if (m_hasEnded)
        return failure(programEnds());
    auto added = addOverFinished(m_remoteFiles, jobs);
    autostartIfNeeded(starts);
    return added;
}

Result<void> QueueController::addBundleFile(const std::string& bundleDirectory) {
    Runloop::assertMain();
    if (m_hasEnded)
        return failure(programEnds());
    if (freePlaces() == 0)
        return failure(queueIsFull());
    const auto job = jobOfBundle(bundleDirectory, m_environment.jobs);
    return job ? m_remoteFiles.addRemoteFile(*job) : failure(job.error());
}

bool QueueController::isUnfinished(const std::string& identity) const {
    const Job job = m_remoteFiles.remoteFile(identity);
    return job && job->currentState() != rf_state_succeeded;
}

void QueueController::whenKept(std::function<void(bool kept)> done) {
    Runloop::assertMain();
    if (m_stateSaver)
        m_stateSaver->whenSaved(std::move(done));
    else
        done(true);
}

void QueueController::autostartIfNeeded(std::optional<bool> wanted) {
    if (wanted.value_or(Settings(m_environment.jobs.defaults).autoStartAfterAdd()))
        m_run.set(QueueRunState::running);
}

void QueueController::oneSecondTick() {
    runPasses();
    Q_EMIT ticked();
    if (m_companions)
        m_companions->tick();
    m_statsBroadcaster.broadcastStats();
    m_environment.jobs.transfers.tick();
}

void QueueController::runPasses() {
    if (m_run.state() == QueueRunState::running) {
        m_run.holdTransitions(true);
        m_scheduler.setTargetConcurrency(Settings(m_environment.jobs.defaults).defaultConcurrency());
        m_scheduler.invokeAutorunPass();
        m_run.holdTransitions(false);
    }
    m_scheduler.invokeMaintenancePass();
    m_run.update(); // for what the pass has kept from being noticed
    clearCompletedIfWanted();
}

/// Here, where every observer has heard that they are finished.
void QueueController::clearCompletedIfWanted() {
    if (!m_environment.session || m_remoteFiles.succeededJobs() == 0 ||
        !Settings(m_environment.jobs.defaults).autoClearCompleted())
        return;
    m_statsBroadcaster.countOnWithoutRows();
    m_scheduler.clearCompleted();
}

void QueueController::toggleAutorun() {
    Runloop::assertMain();
    if (m_run.state() == QueueRunState::running) {
        for (const auto& job : m_remoteFiles.contentAsArray())
            m_scheduler.addToPausedSet(job);
        m_run.set(QueueRunState::paused);
    } else {
        m_scheduler.clearSets();
        m_run.set(QueueRunState::running);
    }
    m_scheduler.invokeMaintenancePass();
}

std::vector<QueueController::Job> QueueController::presentOf(const std::vector<Job>& jobs) const {
    std::vector<Job> present;
    std::copy_if(jobs.begin(), jobs.end(), std::back_inserter(present),
                 [this](const Job& job) { return job && m_remoteFiles.content().contains(*job); });
    return present;
}

void QueueController::pause(const std::vector<Job>& jobs) {
    Runloop::assertMain();
    for (const auto& job : presentOf(jobs))
        m_scheduler.addToPausedSet(job);
    m_scheduler.invokeMaintenancePass();
    if (m_remoteFiles.pendingJobs() + m_remoteFiles.runningJobs() == 0)
        m_run.set(QueueRunState::paused);
}

void QueueController::resume(const std::vector<Job>& jobs) {
    Runloop::assertMain();
    for (const auto& job : presentOf(jobs))
        m_scheduler.addToRunningSet(job);
    m_scheduler.invokeMaintenancePass();
}

void QueueController::remove(const std::vector<Job>& jobs) {
    Runloop::assertMain();
    m_remoteFiles.removeRemoteFiles(presentOf(jobs));
    saveSession();
}

/// What the user has removed stays away, whatever happens next.
void QueueController::saveSession() {
    if (m_stateSaver)
        m_stateSaver->saveUIState();
}

void QueueController::removeWithData(const std::vector<Job>& jobs) {
    Runloop::assertMain();
    const auto asked = presentOf(jobs);
    if (isRemovalWanted(asked, m_environment.alerts))
        removeWithDataUnasked(asked, [this](const std::optional<Error>& last) {
            if (last)
                schedulerFailed(*last);
        });
}

void QueueController::removeWithDataUnasked(const std::vector<Job>& jobs, JobFiles::Done done) {
    Runloop::assertMain();
    if (m_ending.hasBegun()) // no worker may begin behind the end of all
        return done(programEnds());
    remove(jobs); // those that are not gone while a question was open
    m_files.remove(jobs, std::move(done));
}

void QueueController::setConnections(const std::vector<Job>& jobs, std::int64_t connections) {
    m_reloads.setConnections(presentOf(jobs), connections);
    saveSession();
}

Result<void> QueueController::rename(const Job& job, const std::string& name) {
    Runloop::assertMain();
    auto renamed = renameJob(*job, name);
    saveSession();
    return renamed;
}

void QueueController::saveAllProgress() {
    Runloop::assertMain();
    Log::info("Saving all progress...");
    m_remoteFiles.content().forEachIn({rf_state_running}, [this](const Job& job) {
        m_files.save(job);
        return true;
    });
}

void QueueController::quit() {
    Runloop::assertMain();
    m_run.end();
    m_oneSecondTimer.stop();
    m_tenSecondTimer.stop();
    m_environment.alerts.cancelAlerts();
    m_ending.begin();
}

void QueueController::endWithoutWorkers() {
    Runloop::assertMain();
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

} // namespace tarvo
