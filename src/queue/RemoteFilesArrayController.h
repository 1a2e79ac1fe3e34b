// The queue itself: the ordered jobs, the rows that are shown of them, and which jobs may enter.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <QMetaMethod>
#include <QTimer>

#include "base/Error.h"
#include "base/NotificationCenter.h"
#include "queue/JobChanges.h"
#include "queue/JobRows.h"

namespace tarvo {

/// Main thread only. No two jobs are of the same download. Never changes a job's state itself, except that
/// a job that leaves the queue, or is refused in a batch, is stopped. Of the base, the rows that are shown
/// and their signals; which of them are selected is a matter of what shows them.
class RemoteFilesArrayController : public JobRows {
    Q_OBJECT

public:
    /// Posted before a job leaves the queue, while it still is in it. User info: "rf", a Job.
    static constexpr std::string_view kWillRemove = "RFACWillRemove";
    static constexpr std::string_view kRemoteFileKey = "rf";

    /// The shortest time between two jobsChanged().
    static constexpr std::chrono::milliseconds kBetweenChanges{250};

    /// `notifications` outlives the controller.
    explicit RemoteFilesArrayController(NotificationCenter& notifications,
                                        std::chrono::milliseconds betweenChanges = kBetweenChanges);

    /// At the end of the queue. Error: kTarvoDuplicateEntry; then nothing has changed.
    Result<void> addRemoteFile(const Job& job);

    /// All that are no duplicates; the others are stopped. Error: how many there were.
    Result<void> addRemoteFiles(const std::vector<Job>& jobs);

    /// The error of a batch of which `count` were in the queue already.
    static Error duplicateDownloads(std::size_t count);

    /// Stops the jobs and takes them out. Their files stay. Of a batch all are stopped and announced before
    /// the first of them leaves.
    void removeRemoteFile(const Job& job);
    void removeRemoteFiles(const std::vector<Job>& jobs);

    /// Puts `fresh` into the place of `old`; the filter stays, and decides whether `fresh` is shown. When
    /// `fresh` is refused, `old` is gone all the same.
    Result<void> replaceRemoteFile(const Job& old, const Job& fresh);

    /// Whether a job is just being replaced: it is stopped, and the fresh one has not come in yet.
    bool isReplacing() const { return m_isReplacing; }

    /// Saves the job's progress and replaces the job by a fresh copy, which is the answer. Waits for the
    /// disk while the job runs or is paused: see reloadSavedRemoteFile().
    Result<Job> reloadRemoteFile(const Job& job);

    /// The same with a save that has been made elsewhere, with that outcome.
    Result<Job> reloadSavedRemoteFile(const Job& job, const Result<void>& saved);

    std::size_t jobsInState(rf_state_t state) const { return content().countInState(state); }

    std::size_t pendingJobs() const; ///< initializing, preparing, ready
    std::size_t activeJobs() const;  ///< running, paused

    std::size_t runningJobs() const { return jobsInState(rf_state_running); }

    std::size_t failedJobs() const { return jobsInState(rf_state_failed); }

    std::size_t succeededJobs() const { return jobsInState(rf_state_succeeded); }

    /// The jobs in the queue by their identities; those without an address share one.
    const std::unordered_map<std::string, Job>& existingRemoteFiles() const { return m_existingRemoteFiles; }

    /// The job of that identity; null when there is none.
    Job remoteFile(const std::string& identity) const;

    /// Whether what jobsChanged() would tell is gathered.
    bool gathersChanges() const { return m_changes != nullptr; }

Q_SIGNALS:
    /// Some job has changed its state.
    void allChildStatesChanged();
    /// Some job has come to rf_state_succeeded.
    void childCompletedChanged();
    /// Before the two above.
    void jobStateChanged(const std::shared_ptr<tarvo::RemoteFile>& job, tarvo::rf_state_t oldState,
                         tarvo::rf_state_t newState);
    /// `fresh` has taken the row of `old`, which has left the queue.
    void jobReplaced(const std::shared_ptr<tarvo::RemoteFile>& old,
                     const std::shared_ptr<tarvo::RemoteFile>& fresh);
    /// These have other bytes, another size, name or state than when they were last told: at most every
    /// kBetweenChanges, and nothing is gathered while nothing is connected to this signal. What enters,
    /// leaves or is replaced is told by the signals of rows.
    void jobsChanged(const std::vector<std::shared_ptr<tarvo::RemoteFile>>& jobs);

protected:
    void connectNotify(const QMetaMethod& signal) override;
    void disconnectNotify(const QMetaMethod& signal) override;

private:
    struct Watched {
        QMetaObject::Connection connection;
        QMetaObject::Connection toName;
        bool isLeaving = false; // its row goes as a whole, not by its state
    };

    Result<void> admit(const Job& job);
    void release(const Job& job);
    void leave(std::vector<Job> jobs);
    bool beginLeaving(const Job& job);
    void stopAndAnnounce(const Job& job);
    void childChanged(const std::weak_ptr<RemoteFile>& child, rf_state_t oldState, rf_state_t newState);
    void childRenamed(const std::weak_ptr<RemoteFile>& child);
    void tellChanges(const std::vector<Job>& changed);
    void stopGatheringIfUnheard();

    NotificationCenter& m_notifications;
    std::unordered_map<const RemoteFile*, Watched> m_observations; // of all in the queue
    std::unordered_map<std::string, Job> m_existingRemoteFiles;
    bool m_isReplacing = false;
    const std::chrono::milliseconds m_betweenChanges;
    std::unique_ptr<JobChanges> m_changes; // null: they are not gathered
    QTimer m_unheardTimer;                 // asks on the next turn whether they still need to be
};

} // namespace tarvo
