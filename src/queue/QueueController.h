// The queue as a whole, without a window: run state, ticks, the objects that live with it, commands.
#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <QObject>
#include <QTimer>

#include "base/NotificationCenter.h"
#include "base/SerialQueue.h"
#include "base/WorkQueue.h"
#include "jobs/JobEnvironment.h"
#include "queue/AlertPresenter.h"
#include "queue/AutomaticTerminationUpdater.h"
#include "queue/LauncherStatusFeeder.h"
#include "queue/PageOpener.h"
#include "queue/QueueStateSaver.h"
#include "queue/QuitAndSleepManager.h"
#include "queue/RemoteFilesArrayController.h"
#include "queue/StatsBroadcaster.h"
#include "queue/TRQueueScheduler.h"
#include "queue/UserNotifier.h"

namespace tarvo {

/// Whether the scheduler may start jobs.
enum class QueueRunState {
    stopped = 0, ///< nothing to do
    waiting = 1, ///< there are jobs, and nobody has started the queue
    running = 2,
    paused = 3, ///< by the user
};

/// What the control that starts and stops the queue shows.
struct StartStopControl {
    std::string label;
    bool isOn = false;
};

/// Main thread. What a window, the program without a screen and the command line have in common: they show
/// what is here and call the commands.
class QueueController : public QObject, private TRQueueSchedulerDelegate {
    Q_OBJECT

public:
    using Job = std::shared_ptr<RemoteFile>;

    /// What the queue does to the world outside it: none of it on a bare command line.
    struct Desktop {
        SleepInhibitor& sleep;
        AutomaticTermination& termination;
        UserNotices& notices;
        LauncherBadge& badge;
        std::function<bool()> windowIsVisible;
    };

    /// What the queue needs around it. Everything referred to outlives it.
    struct Environment {
        const JobEnvironment& jobs;
        NotificationCenter& notifications;
        AuthenticationManager& authManager;
        PageOpener& pages;
        AlertPresenter& alerts;
        UserDefaults* session =
            nullptr; ///< where the queue is kept over the end of the program; null: nowhere
        const Desktop* desktop = nullptr; ///< null: nothing outside the queue is touched
        Seconds retryDelay = kRetryDelay;
    };

    explicit QueueController(const Environment& environment);

    /// The workers must be gone: see quit().
    ~QueueController() override;

    RemoteFilesArrayController& remoteFiles() { return m_remoteFiles; }

    QueueRunState runState() const { return m_runState; }

    const StartStopControl& startStopControl() const { return m_startStopControl; }

    /// Adds downloads as from the add sheet: the queue starts by itself if the settings say so. A finished
    /// download of the same address makes room for the new one, in its row. Error: see
    /// RemoteFilesArrayController::addRemoteFiles(); that the program ends.
    Result<void> addDownloads(const std::vector<Job>& jobs);

    /// Whether a download of this identity is in the queue and has not finished.
    bool isUnfinished(const std::string& identity) const;

    /// Calls `done` once all that was added before is kept over the end of the program, however it comes, or
    /// could not be: then with false. At once where nothing is to be kept.
    void whenKept(std::function<void(bool kept)> done);

    /// Whether the program's last moments have come, and nothing that is added is kept any more.
    bool hasEnded() const { return m_hasEnded; }

    static Error programEnds();

    /// How many more jobs the queue takes. A restored session is taken whatever its length.
    std::size_t freePlaces() const;
    static Error queueIsFull();

    /// Adds the download of a bundle. Never starts the queue. Error: why it can't be gone on with, that there
    /// is no place, or kTarvoDuplicateEntry.
    Result<void> addBundleFile(const std::string& bundleDirectory);

    /// Starts the queue, or pauses every job.
    void toggleAutorun();

    // Commands on the selected rows.
    void pauseSelected();
    void resumeSelected();
    void reloadSelected();
    void removeSelected();
    void removeSelectedWithData(); ///< asks first

    void clearCompleted() { m_scheduler.clearCompleted(); }

    /// Saves the progress of every running job, in the background.
    void saveAllProgress();

    /// Suspends what runs, saves its progress, ends every worker and then emits ended(). Nothing starts any
    /// more, and questions and pages that are open end without an answer.
    void quit();

Q_SIGNALS:
    void runStateChanged(tarvo::QueueRunState state);
    /// Once a second, after the passes: whoever shows the list looks at it again.
    void ticked();
    /// See TRQueueScheduler::preparationEnded().
    void preparationEnded(const std::shared_ptr<tarvo::RemoteFile>& job);
    /// quit() has suspended the job and tried to save it.
    void suspended(const std::shared_ptr<tarvo::RemoteFile>& job, bool saved);
    void ended();

private:
    void connectSignals();
    void oneSecondTick();
    void runPasses();
    void setRunState(QueueRunState state);
    void updateStartStopControl();
    void updateCurrentState();
    void autostartIfNeeded();
    void clearCompletedIfWanted();
    void saveSession();
    void saveInBackground(const Job& job, std::function<void(const Result<void>& saved)> done);
    void reload(const Job& job, const Result<void>& saved);
    void endWhenIdle();

    BrowserEndReason openBrowserFor(const Job& job, Job& replacement) override;
    void closePages() override;
    void schedulerAddedFiles() override;
    void schedulerFailed(const Error& error) override;

    const Environment m_environment;
    RemoteFilesArrayController m_remoteFiles;
    QueueRunState m_runState = QueueRunState::stopped;
    StartStopControl m_startStopControl;
    bool m_pauseStateTransitions = false; // while a pass changes many states
    bool m_hasNews = false;               // a download has finished since the last completion
    bool m_isQuitting = false;
    bool m_hasEnded = false;
    std::set<const RemoteFile*> m_beingSaved;
    QTimer m_oneSecondTimer;
    QTimer m_nextTurnTimer; // runs the passes too, after any change
    QTimer m_tenSecondTimer;
    QTimer m_idleTimer;

    // Last, so that they end first: their tasks use what stands above.
    WorkQueue m_concurrentDownloadQueue;
    SerialQueue m_fileSavingQueue{"com.unregistered.tarvo2.fileSavingQueue"};

    // The companions, in the order in which they come to life. The session is restored last.
    std::unique_ptr<QuitAndSleepManager> m_sleepManager;
    std::unique_ptr<AutomaticTerminationUpdater> m_termination;
    TRQueueScheduler m_scheduler;
    std::unique_ptr<UserNotifier> m_userNotifier;
    StatsBroadcaster m_statsBroadcaster;
    std::unique_ptr<LauncherStatusFeeder> m_launcherStatus;
    std::unique_ptr<QueueStateSaver> m_stateSaver;
};

} // namespace tarvo
