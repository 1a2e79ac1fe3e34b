// The queue as a whole, without a window: run state, ticks, the objects that live with it, commands.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <QObject>
#include <QTimer>

#include "base/NotificationCenter.h"
#include "base/WorkQueue.h"
#include "jobs/JobEnvironment.h"
#include "queue/Additions.h"
#include "queue/AddressChanges.h"
#include "queue/AlertPresenter.h"
#include "queue/DesktopCompanions.h"
#include "queue/JobReloads.h"
#include "queue/PageOpener.h"
#include "queue/QueueEnding.h"
#include "queue/QueueRun.h"
#include "queue/QueueStateSaver.h"
#include "queue/RemoteFilesArrayController.h"
#include "queue/StatsBroadcaster.h"
#include "queue/TRQueueScheduler.h"

namespace tarvo {

/// Main thread. What a window, the program without a screen and the command line have in common: they show
/// what is here and call the commands.
class QueueController : public QObject, private TRQueueSchedulerDelegate {
    Q_OBJECT

public:
    using Job = std::shared_ptr<RemoteFile>;
    using Desktop = QueueDesktop;

    /// What the queue needs around it. Everything referred to outlives it.
    struct Environment {
        const JobEnvironment& jobs;
        NotificationCenter& notifications;
        AuthenticationManager& authManager;
        PageOpener& pages;
        AlertPresenter& alerts;
        UserDefaults* session = nullptr;  ///< where the queue is kept over the program's end; null: nowhere
        const Desktop* desktop = nullptr; ///< null: nothing outside the queue is touched
        Seconds retryDelay = kRetryDelay;
    };

    explicit QueueController(const Environment& environment);

    /// The workers must be gone: see quit().
    ~QueueController() override = default;

    RemoteFilesArrayController& remoteFiles() { return m_remoteFiles; }

    AuthenticationManager& credentials() { return m_environment.authManager; }

    QueueRunState runState() const { return m_run.state(); }

    const StartStopControl& startStopControl() const { return m_run.startStopControl(); }

    /// Adds downloads as from the add sheet: the queue starts by itself if `starts`, or where that is not
    /// set, the settings say so. A finished download of the same address makes room for the new one, in its
    /// row. Error: see addOverFinished(); that the program ends.
    Result<void> addDownloads(const std::vector<Job>& jobs, std::optional<bool> starts = std::nullopt);

    /// Whether a download of this identity is in the queue and has not finished.
    bool isUnfinished(const std::string& identity) const;

    /// Calls `done` once all that was added before is kept over the end of the program, however it comes, or
    /// could not be: then with false. At once where nothing is to be kept.
    void whenKept(std::function<void(bool kept)> done);

    /// Whether the program's last moments have come, and nothing that is added is kept any more.
    bool hasEnded() const { return m_hasEnded; }

    /// How many more jobs the queue takes.
    std::size_t freePlaces() const { return freePlacesIn(m_remoteFiles.content()); }

    /// Adds the download of a bundle. Never starts the queue. Error: why it can't be gone on with, that there
    /// is no place, or kTarvoDuplicateEntry.
    Result<void> addBundleFile(const std::string& bundleDirectory);

    /// Starts the queue, or pauses every job.
    void toggleAutorun();

    // Commands on jobs, for instance on those of the selected rows. What has left the queue is passed over.
    void pause(const std::vector<Job>& jobs);
    void resume(const std::vector<Job>& jobs);

    void reload(const std::vector<Job>& jobs) { m_reloads.reload(presentOf(jobs)); }

    void remove(const std::vector<Job>& jobs);
    void removeWithData(const std::vector<Job>& jobs); ///< asks first
    /// Calls `done` once the data are gone, with the last failure, if there was one.
    void removeWithDataUnasked(const std::vector<Job>& jobs, JobFiles::Done done);

    /// From the next start of each job on. This and the new name are kept with the queue.
    void setConnections(const std::vector<Job>& jobs, std::int64_t connections);
    Result<void> rename(const Job& job, const std::string& name); ///< see RemoteFile::rename()

    /// Has an unfinished download go on from another address.
    AddressChanges& addressChanges() { return m_addressChanges; }

    void clearCompleted() { m_scheduler.clearCompleted(); }

    /// Saves the progress of every running job, in the background.
    void saveAllProgress();

    /// Suspends what runs, saves its progress, ends every worker and then emits ended(). Nothing starts any
    /// more, and questions and pages that are open end without an answer.
    void quit();

Q_SIGNALS:
    void runStateChanged(tarvo::QueueRunState state);
    /// Once a second, after the passes.
    void ticked();
    /// See TRQueueScheduler::preparationEnded().
    void preparationEnded(const std::shared_ptr<tarvo::RemoteFile>& job);
    void ending(); ///< quit() begins
    /// quit() has suspended the job and tried to save it.
    void suspended(const std::shared_ptr<tarvo::RemoteFile>& job, bool saved);
    void ended();

private:
    void connectSignals();
    void oneSecondTick();
    void runPasses();
    void autostartIfNeeded(std::optional<bool> wanted = std::nullopt);
    void clearCompletedIfWanted();
    void saveSession();
    std::vector<Job> presentOf(const std::vector<Job>& jobs) const;
    void endWithoutWorkers();

    BrowserEndReason openBrowserFor(const Job& job, Job& replacement) override;

    void closePages() override { m_environment.pages.closePages(); }

    void schedulerAddedFiles() override { autostartIfNeeded(); }

    void schedulerFailed(const Error& error) override { m_environment.alerts.presentError(error); }

    const Environment m_environment;
    RemoteFilesArrayController m_remoteFiles;
    QueueRun m_run;
    bool m_hasEnded = false;
    QTimer m_oneSecondTimer;
    QTimer m_nextTurnTimer; // runs the passes too, after any change
    QTimer m_tenSecondTimer;

    // Their tasks use what stands above, so they end before it.
    WorkQueue m_concurrentDownloadQueue;
    JobReloads m_reloads{m_remoteFiles, m_files, m_environment.alerts};
    JobFiles m_files;

    TRQueueScheduler m_scheduler;
    AddressChanges m_addressChanges{m_remoteFiles, m_scheduler, m_files, m_environment.alerts};
    QueueEnding m_ending;
    std::unique_ptr<DesktopCompanions> m_companions;
    StatsBroadcaster m_statsBroadcaster;
    std::unique_ptr<QueueStateSaver> m_stateSaver; // restores the session last
};

} // namespace tarvo
