// Decides which jobs of the queue are prepared, started, held back and tried again.
#pragma once

#include <functional>
#include <memory>
#include <unordered_set>

#include <QObject>

#include "base/Clock.h"
#include "base/NotificationCenter.h"
#include "base/UserDefaults.h"
#include "base/WorkQueue.h"
#include "jobs/AuthenticationManager.h"
#include "queue/Preparations.h"
#include "queue/RemoteFilesArrayController.h"
#include "queue/Retries.h"

namespace tarvo {

/// Has no timer: its owner calls the passes, each as often as it likes. Main thread. Transfers run on the
/// work queue.
class TRQueueScheduler : public QObject {
    Q_OBJECT

public:
    using Job = std::shared_ptr<RemoteFile>;

    struct Environment {
        const UserDefaults& defaults;
        const Clock& clock;
        NotificationCenter& notifications;
        AuthenticationManager& authManager;
        WorkQueue& concurrentDownloadQueue;
        Seconds retryDelay = kRetryDelay;
    };

    /// Everything referred to outlives the scheduler.
    TRQueueScheduler(RemoteFilesArrayController& remoteFiles, std::int64_t targetConcurrency,
                     TRQueueSchedulerDelegate& delegate, const Environment& environment);

    /// Waits for the preparations under way; stopScheduling() comes before.
    ~TRQueueScheduler() override;

    /// How many jobs may run at once.
    void setTargetConcurrency(std::int64_t target);

    /// Tries failed jobs again, then fills free places.
    void invokeAutorunPass();

    /// Prepares what is new, then carries out what the user has chosen for single jobs.
    void invokeMaintenancePass();

    /// A job is in one of the two sets at most: held back by the user, or to run whatever the queue does.
    void addToPausedSet(const Job& job);
    void addToRunningSet(const Job& job);
    void clearSets();

    /// Takes finished jobs out of the queue.
    void clearCompleted();

    /// Whether the user holds the job back.
    bool holdsBack(const Job& job) const { return m_pausedSet.contains(job); }

    /// From now on nothing is prepared or started; a prompt or page that is open ends without an answer.
    void stopScheduling();

    /// Whether no preparation is under way.
    bool isIdle() { return m_preparations.isIdle(); }

Q_SIGNALS:
    /// The job's preparation has ended, whatever has come of it, and so have prompts and pages.
    void preparationEnded(const std::shared_ptr<tarvo::RemoteFile>& job);

private:
    using JobSet = std::unordered_set<Job>;

    Result<Job> reload(const Job& job);
    void updateRunningAndPausedJobs();
    void startJobsUntilConcurrency(std::int64_t target);
    bool resumeOrStartRemoteFile(const Job& job);
    std::int64_t placesKeptFrom(const Job& job) const;
    void forget(const Job& job);

    RemoteFilesArrayController& m_remoteFiles;
    std::int64_t m_targetConcurrency;
    const Environment m_environment;
    JobSet m_pausedSet;
    JobSet m_runningSet;
    /// Handed to the work queue and still in rf_state_ready: started as good as they will be.
    JobSet m_starting;
    bool m_stopped = false;
    NotificationCenter::Observation m_removals;
    Retries m_retries;
    Preparations m_preparations; // ends first
};

} // namespace tarvo
