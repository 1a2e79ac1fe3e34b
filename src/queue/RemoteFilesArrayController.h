// The queue itself: the ordered jobs, the rows that are shown of them, and who may enter.
#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <QObject>

#include "base/Error.h"
#include "base/NotificationCenter.h"
#include "queue/JobList.h"

namespace tarvo {

/// One of the list's filters: which states it shows. No states: every job.
struct JobFilter {
    std::string_view identifier;
    std::string_view labelKey;
    std::vector<rf_state_t> states;

    /// The filters that the list offers, in the order in which it offers them.
    static const std::vector<JobFilter>& all();
};

/// Main thread only. No two jobs are of the same download. Never changes a job's state itself, except that
/// what leaves the queue, or is refused in a batch, is stopped.
class RemoteFilesArrayController : public QObject {
    Q_OBJECT

public:
    using Job = std::shared_ptr<RemoteFile>;

    /// Posted before a job leaves the queue, while it still is in it. User info: "rf", a Job.
    static constexpr std::string_view kWillRemove = "RFACWillRemove";
    static constexpr std::string_view kRemoteFileKey = "rf";

    /// `notifications` outlives the controller.
    explicit RemoteFilesArrayController(NotificationCenter& notifications);

    /// At the end of the queue. Error: kTarvoDuplicateEntry; then nothing has changed.
    Result<void> addRemoteFile(const Job& job);

    /// All that are no duplicates; the others are stopped. Error: how many there were.
    Result<void> addRemoteFiles(const std::vector<Job>& jobs);

    /// The error of a batch of which `count` were in the queue already.
    static Error duplicateDownloads(std::size_t count);

    /// Stops the job and takes it out. Its files stay.
    void removeRemoteFile(const Job& job);
    void removeRemoteFiles(const std::vector<Job>& jobs);

    /// Puts `fresh` into the row of `old`, and drops the filter. When `fresh` is refused, `old` is gone all
    /// the same.
    Result<void> replaceRemoteFile(const Job& old, const Job& fresh);

    /// Whether a job is just being replaced: it has left the queue, and the fresh one has not come in yet.
    bool isReplacing() const { return m_isReplacing; }

    /// Saves the job's progress and replaces the job by a fresh copy, which is the answer. Waits for the
    /// disk while the job runs or is paused: see reloadSavedRemoteFile().
    Result<Job> reloadRemoteFile(const Job& job);

    /// The same with a save that has been made elsewhere, with that outcome.
    Result<Job> reloadSavedRemoteFile(const Job& job, const Result<void>& saved);

    /// Moves rows of the arranged view to `index` of it, as they stand before any of them is moved.
    void moveObjectsInArrangedObjects(const std::set<std::size_t>& fromIndexes, std::size_t toIndex);

    std::size_t jobsInState(rf_state_t state) const { return m_content.countInState(state); }

    std::size_t pendingJobs() const; ///< initializing, preparing, ready
    std::size_t activeJobs() const;  ///< running, paused

    std::size_t runningJobs() const { return jobsInState(rf_state_running); }

    std::size_t failedJobs() const { return jobsInState(rf_state_failed); }

    std::size_t succeededJobs() const { return jobsInState(rf_state_succeeded); }

    const JobList& content() const { return m_content; }

    std::vector<Job> contentAsArray() const { return m_content.jobs(); }

    /// The rows: the content, filtered.
    const std::vector<Job>& arrangedObjectsAsArray() const;

    /// The jobs in the queue by their identities; those without an address share one.
    const std::unordered_map<std::string, Job>& existingRemoteFiles() const { return m_existingRemoteFiles; }

    /// The job of that identity; null when there is none.
    Job remoteFile(const std::string& identity) const;

    void setFilter(const JobFilter& filter);

    /// Rows of the arranged view. A selected job stays selected wherever its row moves.
    std::set<std::size_t> selectionIndexes() const;
    void setSelectionIndexes(const std::set<std::size_t>& indexes);
    std::vector<Job> selectedObjects() const;

Q_SIGNALS:
    /// After each insertion into the content, removal from it and move within it.
    void contentArraySizeChanged();
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

private:
    void observe(const Job& job);
    void stopObserving(const Job& job);
    void childChanged(const std::weak_ptr<RemoteFile>& child, rf_state_t oldState, rf_state_t newState);

    NotificationCenter& m_notifications;
    JobList m_content;
    std::unordered_map<const RemoteFile*, QMetaObject::Connection> m_observations;
    std::unordered_map<std::string, Job> m_existingRemoteFiles;
    std::unordered_set<const RemoteFile*> m_selection;
    bool m_isReplacing = false;
    std::vector<rf_state_t> m_filteredStates; // empty: no filter
    mutable std::vector<Job> m_arranged;      // the rows as last asked for
    mutable bool m_arrangedIsCurrent = true;
};

} // namespace tarvo
