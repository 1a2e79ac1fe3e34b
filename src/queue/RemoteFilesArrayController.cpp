#include "queue/RemoteFilesArrayController.h"

#include "base/Localized.h"
#include "base/Log.h"
#include "base/Runloop.h"

#include <algorithm>
#include <utility>

namespace tarvo {

namespace {

/// A job without an address shares its identity with all of its kind, and is no duplicate of them.
bool isIdentified(const RemoteFile& job) {
    return job.url().has_value();
}

} // namespace

RemoteFilesArrayController::RemoteFilesArrayController(NotificationCenter& notifications,
                                                       std::chrono::milliseconds betweenChanges)
    : m_notifications(notifications), m_betweenChanges(betweenChanges) {
    m_unheardTimer.setSingleShot(true);
    connect(&m_unheardTimer, &QTimer::timeout, this, &RemoteFilesArrayController::stopGatheringIfUnheard);
}

/// Answers whether the job may enter. If so, it is observed from here on, and its download is taken.
Result<void> RemoteFilesArrayController::admit(const Job& job) {
    if (!Log::assertThat(job != nullptr))
        return failure(Error::localized(ErrorDomain::Tarvo, kTarvoGeneral, "tr.err.illegal-state"));
    const auto refusal = [] {
        return failure(Error::localized(ErrorDomain::Tarvo, kTarvoDuplicateEntry, "Duplicate entry"));
    };
    if (m_observations.contains(job.get()))
        return refusal();
    const auto [known, isNew] = m_existingRemoteFiles.try_emplace(job->identity(), job);
    if (!isNew && isIdentified(*job))
        return refusal();
    known->second = job;
    const auto weak = job->weak_from_this();
    Watched& watched = m_observations[job.get()];
    watched.connection = connect(
        job.get(), &RemoteFile::currentStateChanged, this,
        [this, weak](rf_state_t oldState, rf_state_t newState) { childChanged(weak, oldState, newState); });
    watched.toName =
        connect(job.get(), &RemoteFile::fileNameChanged, this, [this, weak] { childRenamed(weak); });
    if (m_changes)
        m_changes->watch(job);
    Log::warning("Start observing RF state {}", job->description());
    return {};
}

/// Takes back what admit() has done.
void RemoteFilesArrayController::release(const Job& job) {
    if (m_changes)
        m_changes->forget(job);
    const auto observation = m_observations.extract(job.get());
    if (observation && disconnect(observation.mapped().toName) &&
        disconnect(observation.mapped().connection)) {
        m_existingRemoteFiles.erase(job->identity());
        return;
    }
    Log::error("Observer was not registered! {}", job->description());
    Log::error("Is RF being tracked at all? {}", m_existingRemoteFiles.contains(job->identity()) ? 1 : 0);
    Log::assertThat(false);
}

Result<void> RemoteFilesArrayController::addRemoteFile(const Job& job) {
    Runloop::assertMain();
    if (auto admitted = admit(job); !admitted)
        return admitted;
    append({job});
    Q_EMIT contentArraySizeChanged();
    return {};
}

Result<void> RemoteFilesArrayController::addRemoteFiles(const std::vector<Job>& jobs) {
    Runloop::assertMain();
    std::vector<Job> admitted;
    std::vector<Job> refused;
    Result<void> last;
    std::size_t duplicates = 0;
    for (const auto& job : jobs) {
        if (auto one = admit(job); one) {
            admitted.push_back(job);
        } else {
            refused.push_back(job);
            duplicates += one.error().code == kTarvoDuplicateEntry ? 1 : 0;
            last = std::move(one);
        }
    }
    append(admitted);
    if (!admitted.empty())
        Q_EMIT contentArraySizeChanged();
    for (const auto& job : refused) {
        if (job)
            job->stop();
    }
    return duplicates == 0 ? last : failure(duplicateDownloads(duplicates));
}

Error RemoteFilesArrayController::duplicateDownloads(std::size_t count) {
    return Error::tarvo(localizedCount("tr.err.duplicate-downloads", count),
                        localized("tr.err.duplicate-recovery"));
}

void RemoteFilesArrayController::removeRemoteFile(const Job& job) {
    leave({job});
}

void RemoteFilesArrayController::removeRemoteFiles(const std::vector<Job>& jobs) {
    leave(jobs);
}

void RemoteFilesArrayController::leave(std::vector<Job> jobs) {
    Runloop::assertMain();
    std::erase_if(jobs,
                  [this](const Job& job) { return !Log::assertThat(job != nullptr) || !beginLeaving(job); });
    for (const auto& job : jobs)
        stopAndAnnounce(job);
    take(jobs);
    for (const auto& job : jobs)
        release(job);
    if (!jobs.empty())
        Q_EMIT contentArraySizeChanged();
}

/// Answers false for what is about to leave already. What is not in the queue leaves, too, and that is
/// logged.
bool RemoteFilesArrayController::beginLeaving(const Job& job) {
    const auto watched = m_observations.find(job.get());
    return watched == m_observations.end() || !std::exchange(watched->second.isLeaving, true);
}

void RemoteFilesArrayController::stopAndAnnounce(const Job& job) {
    job->stop();
    m_notifications.post(kWillRemove, this, {{std::string(kRemoteFileKey), job}});
}

RemoteFilesArrayController::Job RemoteFilesArrayController::remoteFile(const std::string& identity) const {
    const auto found = m_existingRemoteFiles.find(identity);
    return found == m_existingRemoteFiles.end() ? nullptr : found->second;
}

void RemoteFilesArrayController::childChanged(const std::weak_ptr<RemoteFile>& child, rf_state_t oldState,
                                              rf_state_t newState) {
    Runloop::assertMain();
    const Job job = child.lock();
    if (!Log::assertThat(job != nullptr))
        return;
    const auto watched = m_observations.find(job.get());
    takeOverState(*job, watched == m_observations.end() || !watched->second.isLeaving);
    Q_EMIT jobStateChanged(job, oldState, newState);
    Q_EMIT allChildStatesChanged();
    if (newState == rf_state_succeeded)
        Q_EMIT childCompletedChanged();
}

void RemoteFilesArrayController::childRenamed(const std::weak_ptr<RemoteFile>& child) {
    const Job job = child.lock();
    const auto watched = m_observations.find(job.get());
    if (Log::assertThat(watched != m_observations.end()))
        takeOverName(*job, !watched->second.isLeaving);
}

void RemoteFilesArrayController::connectNotify(const QMetaMethod& signal) {
    Runloop::assertMain();
    if (m_changes || signal != QMetaMethod::fromSignal(&RemoteFilesArrayController::jobsChanged))
        return;
    m_changes =
        std::make_unique<JobChanges>(m_betweenChanges, [this](const auto& changed) { tellChanges(changed); });
    for (const auto& job : contentAsArray())
        m_changes->watch(job);
}

void RemoteFilesArrayController::disconnectNotify(const QMetaMethod&) {
    Runloop::assertMain();
    m_unheardTimer.start(); // a slot may disconnect
}

void RemoteFilesArrayController::stopGatheringIfUnheard() {
    if (!isSignalConnected(QMetaMethod::fromSignal(&RemoteFilesArrayController::jobsChanged)))
        m_changes.reset();
}

void RemoteFilesArrayController::tellChanges(const std::vector<Job>& changed) {
    if (isSignalConnected(QMetaMethod::fromSignal(&RemoteFilesArrayController::jobsChanged)))
        Q_EMIT jobsChanged(changed);
    else // the receiver has ended, which Qt does not tell
        m_unheardTimer.start();
}

Result<void> RemoteFilesArrayController::replaceRemoteFile(const Job& old, const Job& fresh) {
    Runloop::assertMain();
    if (!Log::assertThat(old != nullptr) || !Log::assertThat(fresh != nullptr))
        return failure(Error::localized(ErrorDomain::Tarvo, kTarvoGeneral, "tr.err.illegal-state"));
    m_isReplacing = true;
    beginLeaving(old);
    stopAndAnnounce(old);
    const bool wasInQueue = Log::assertThat(content().contains(*old));
    release(old);
    auto admitted = admit(fresh);
    if (admitted && wasInQueue)
        replace(*old, fresh);
    else if (admitted)
        append({fresh});
    else if (wasInQueue)
        take({old});
    m_isReplacing = false;
    Q_EMIT contentArraySizeChanged();
    if (admitted)
        Q_EMIT jobReplaced(old, fresh);
    return admitted;
}

Result<RemoteFilesArrayController::Job> RemoteFilesArrayController::reloadRemoteFile(const Job& job) {
    Runloop::assertMain();
    return reloadSavedRemoteFile(job, job && content().contains(*job) ? job->saveProgress() : Result<void>());
}

Result<RemoteFilesArrayController::Job>
RemoteFilesArrayController::reloadSavedRemoteFile(const Job& job, const Result<void>& saved) {
    Runloop::assertMain();
    if (!Log::assertThat(job != nullptr) || !content().contains(*job)) {
        const Error notFound = Error::tarvo(localized("tr.err.not-in-queue"));
        Log::error("{}", notFound.description);
        return failure(notFound);
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

std::size_t RemoteFilesArrayController::pendingJobs() const {
    return jobsInState(rf_state_initializing) + jobsInState(rf_state_preparing) + jobsInState(rf_state_ready);
}

std::size_t RemoteFilesArrayController::activeJobs() const {
    return jobsInState(rf_state_running) + jobsInState(rf_state_paused);
}

} // namespace tarvo
