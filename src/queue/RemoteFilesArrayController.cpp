#include "queue/RemoteFilesArrayController.h"

#include "base/Localized.h"
#include "base/Log.h"

#include <algorithm>

namespace tarvo {

namespace {

constexpr std::string_view kNotFound = "Remote File not found in content array.";

/// A job without an address shares its identity with all of its kind, and is no duplicate of them.
bool isIdentified(const RemoteFile& job) {
    return job.url().has_value();
}

} // namespace

const std::vector<JobFilter>& JobFilter::all() {
    static const std::vector<JobFilter> filters = {
        {"all", "tr.scope-bar.all", {}},
        {"running", "tr.scope-bar.running", {rf_state_running}},
        {"done", "tr.scope-bar.done", {rf_state_succeeded, rf_state_stopped}},
        {"pending", "tr.scope-bar.pending", {rf_state_ready, rf_state_initializing, rf_state_paused}},
        {"failed", "tr.scope-bar.failed", {rf_state_failed}},
    };
    return filters;
}

RemoteFilesArrayController::RemoteFilesArrayController(NotificationCenter& notifications)
    : m_notifications(notifications) {
}

Result<void> RemoteFilesArrayController::addRemoteFile(const Job& job) {
    if (!Log::assertThat(job != nullptr))
        return failure(Error::localized(ErrorDomain::Tarvo, kTarvoGeneral, "tr.err.illegal-state"));
    if (m_content.contains(*job) || (isIdentified(*job) && m_existingRemoteFiles.contains(job->identity())))
        return failure(Error::localized(ErrorDomain::Tarvo, kTarvoDuplicateEntry, "Duplicate entry"));
    m_content.append(job);
    m_existingRemoteFiles.insert_or_assign(job->identity(), job);
    m_arrangedIsCurrent = false;
    observe(job);
    Q_EMIT contentArraySizeChanged();
    return {};
}

Result<void> RemoteFilesArrayController::addRemoteFiles(const std::vector<Job>& jobs) {
    std::size_t duplicates = 0;
    Result<void> last;
    for (const auto& job : jobs) {
        const auto added = addRemoteFile(job);
        if (added)
            continue;
        last = added;
        if (job)
            job->stop();
        if (added.error().code == kTarvoDuplicateEntry)
            ++duplicates;
    }
    if (duplicates == 0)
        return last;
    return failure(duplicateDownloads(duplicates));
}

Error RemoteFilesArrayController::duplicateDownloads(std::size_t count) {
    return Error::tarvo(localized("tr.err.duplicate-downloads", {std::to_string(count)}),
                        localized("tr.err.duplicate-recovery"));
}

void RemoteFilesArrayController::removeRemoteFile(const Job& job) {
    if (!Log::assertThat(job != nullptr))
        return;
    job->stop();
    m_notifications.post(kWillRemove, this, {{std::string(kRemoteFileKey), job}});
    const bool wasInQueue = m_content.remove(*job);
    m_selection.erase(job.get());
    m_arrangedIsCurrent = false;
    stopObserving(job);
    if (wasInQueue)
        m_existingRemoteFiles.erase(job->identity());
    Q_EMIT contentArraySizeChanged();
}

void RemoteFilesArrayController::removeRemoteFiles(const std::vector<Job>& jobs) {
    for (const auto& job : jobs)
        removeRemoteFile(job);
}

RemoteFilesArrayController::Job RemoteFilesArrayController::remoteFile(const std::string& identity) const {
    const auto found = m_existingRemoteFiles.find(identity);
    return found == m_existingRemoteFiles.end() ? nullptr : found->second;
}

void RemoteFilesArrayController::observe(const Job& job) {
    m_observations[job.get()] =
        connect(job.get(), &RemoteFile::currentStateChanged, this,
                [this, weak = job->weak_from_this()](rf_state_t oldState, rf_state_t newState) {
                    childChanged(weak, oldState, newState);
                });
    Log::warning("Start observing RF state {}", job->description());
}

void RemoteFilesArrayController::stopObserving(const Job& job) {
    const auto observation = m_observations.extract(job.get());
    if (observation && disconnect(observation.mapped()))
        return;
    Log::error("Observer was not registered! {}", job->description());
    Log::error("Is RF being tracked at all? {}", m_existingRemoteFiles.contains(job->identity()) ? 1 : 0);
    Log::assertThat(false);
}

void RemoteFilesArrayController::childChanged(const std::weak_ptr<RemoteFile>& child, rf_state_t oldState,
                                              rf_state_t newState) {
    const Job job = child.lock();
    if (!Log::assertThat(job != nullptr))
        return;
    m_content.updateState(*job);
    if (!m_filteredStates.empty())
        m_arrangedIsCurrent = false;
    Q_EMIT jobStateChanged(job, oldState, newState);
    Q_EMIT allChildStatesChanged();
    if (newState == rf_state_succeeded)
        Q_EMIT childCompletedChanged();
}

Result<void> RemoteFilesArrayController::replaceRemoteFile(const Job& old, const Job& fresh) {
    if (!Log::assertThat(old != nullptr) || !Log::assertThat(fresh != nullptr))
        return failure(Error::localized(ErrorDomain::Tarvo, kTarvoGeneral, "tr.err.illegal-state"));
    setFilter(JobFilter::all().front()); // from here on rows and content are the same
    const bool wasInQueue = Log::assertThat(m_content.contains(*old));
    const Job successor = wasInQueue ? m_content.successorOf(*old) : nullptr;
    const bool wasSelected = m_selection.contains(old.get());
    m_isReplacing = true;
    removeRemoteFile(old);
    auto added = addRemoteFile(fresh);
    m_isReplacing = false;
    if (!added)
        return added;
    m_content.moveBefore(*fresh, successor.get());
    m_arrangedIsCurrent = false;
    if (wasSelected)
        m_selection.insert(fresh.get());
    Q_EMIT contentArraySizeChanged();
    Q_EMIT jobReplaced(old, fresh);
    return {};
}

Result<RemoteFilesArrayController::Job> RemoteFilesArrayController::reloadRemoteFile(const Job& job) {
    return reloadSavedRemoteFile(job, job && m_content.contains(*job) ? job->saveProgress() : Result<void>());
}

Result<RemoteFilesArrayController::Job>
RemoteFilesArrayController::reloadSavedRemoteFile(const Job& job, const Result<void>& saved) {
    if (!Log::assertThat(job != nullptr) || !m_content.contains(*job)) {
        Log::error(kNotFound);
        return failure(Error::tarvo(std::string(kNotFound)));
    }
    if (!saved && saved.error().code != kRemoteFileSaveWithFault) {
        Log::error("RemoteFile could not complete final save before reload");
        return failure(saved.error());
    }
    const Job fresh = job->copy();
    if (!fresh)
        return failure(Error::localized(ErrorDomain::Tarvo, kTarvoGeneral, "tr.err.illegal-state"));
    Log::warning("RemoteFile {} will be reloaded with {}", job->description(), fresh->description());
    if (const auto replaced = replaceRemoteFile(job, fresh); !replaced)
        return failure(replaced.error());
    return fresh;
}

void RemoteFilesArrayController::moveObjectsInArrangedObjects(const std::set<std::size_t>& fromIndexes,
                                                              std::size_t toIndex) {
    auto rows = arrangedObjectsAsArray();
    std::vector<Job> moved;
    for (const std::size_t index : fromIndexes) {
        if (Log::assertThat(index < rows.size()))
            moved.push_back(rows[index]);
    }
    // The row that the moved ones come before: the first from the target on that stays where it is.
    std::size_t next = toIndex;
    while (next < rows.size() && fromIndexes.contains(next))
        ++next;
    const RemoteFile* successor = next < rows.size() ? rows[next].get() : nullptr;
    for (const auto& job : moved)
        m_content.moveBefore(*job, successor);
    m_arrangedIsCurrent = false;
    Q_EMIT contentArraySizeChanged();
}

std::size_t RemoteFilesArrayController::pendingJobs() const {
    return jobsInState(rf_state_initializing) + jobsInState(rf_state_preparing) + jobsInState(rf_state_ready);
}

std::size_t RemoteFilesArrayController::activeJobs() const {
    return jobsInState(rf_state_running) + jobsInState(rf_state_paused);
}

const std::vector<RemoteFilesArrayController::Job>&
RemoteFilesArrayController::arrangedObjectsAsArray() const {
    if (m_arrangedIsCurrent)
        return m_arranged;
    m_arranged = m_content.jobs();
    if (!m_filteredStates.empty()) {
        std::erase_if(m_arranged, [this](const Job& job) {
            return std::find(m_filteredStates.begin(), m_filteredStates.end(), job->currentState()) ==
                   m_filteredStates.end();
        });
    }
    m_arrangedIsCurrent = true;
    return m_arranged;
}

void RemoteFilesArrayController::setFilter(const JobFilter& filter) {
    m_filteredStates = filter.states;
    m_arrangedIsCurrent = false;
}

std::set<std::size_t> RemoteFilesArrayController::selectionIndexes() const {
    std::set<std::size_t> indexes;
    const auto& rows = arrangedObjectsAsArray();
    for (std::size_t row = 0; row < rows.size(); ++row) {
        if (m_selection.contains(rows[row].get()))
            indexes.insert(row);
    }
    return indexes;
}

void RemoteFilesArrayController::setSelectionIndexes(const std::set<std::size_t>& indexes) {
    const auto& rows = arrangedObjectsAsArray();
    m_selection.clear();
    for (const std::size_t row : indexes) {
        if (Log::assertThat(row < rows.size()))
            m_selection.insert(rows[row].get());
    }
}

std::vector<RemoteFilesArrayController::Job> RemoteFilesArrayController::selectedObjects() const {
    std::vector<Job> selected;
    for (const std::size_t row : selectionIndexes())
        selected.push_back(arrangedObjectsAsArray()[row]);
    return selected;
}

} // namespace tarvo
