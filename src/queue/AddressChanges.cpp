#include "queue/AddressChanges.h"

#include "base/Localized.h"
#include "base/Log.h"
#include "base/Runloop.h"

#include <QPointer>

namespace tarvo {

bool canChangeAddress(const RemoteFile& job) {
    const rf_state_t state = job.currentState();
    return job.url() && state != rf_state_succeeded && state != rf_state_stopped;
}

AddressChanges::AddressChanges(RemoteFilesArrayController& remoteFiles, TRQueueScheduler& scheduler,
                               JobFiles& files, AlertPresenter& alerts)
    : m_remoteFiles(remoteFiles), m_scheduler(scheduler), m_files(files), m_alerts(alerts) {
    connect(&m_scheduler, &TRQueueScheduler::preparationEnded, this, &AddressChanges::preparationEnded);
    connect(&m_remoteFiles, &RemoteFilesArrayController::jobStateChanged, this,
            [this](const Job& job, rf_state_t, rf_state_t state) {
                if (state == rf_state_stopped)
                    m_former.erase(job);
            });
}

Result<void> AddressChanges::change(const Job& job, const Url& address) {
    Runloop::assertMain();
    if (const auto possible = check(job, address); !possible || *job->url() == address)
        return possible;
    const rf_state_t state = job->currentState();
    if (state != rf_state_running && state != rf_state_paused)
        return replace(job, address);
    job->pause(); // so that all it has can be saved
    m_files.save(job, [guard = QPointer(this), job, address](const Result<void>& saved) {
        if (!guard)
            return;
        const bool isSaved =
            saved || saved.error().code == kRemoteFileSaveWithFault; // it has failed meanwhile
        if (const auto replaced = isSaved ? guard->replace(job, address) : saved; !replaced)
            guard->m_alerts.presentError(replaced.error());
    });
    return {};
}

Result<void> AddressChanges::check(const Job& job, const Url& address) const {
    if (!job || !m_remoteFiles.content().contains(*job) || !canChangeAddress(*job))
        return failure(Error::tarvo(localized("tr.err.not-in-queue")));
    const Job other = m_remoteFiles.remoteFile(address.absoluteString());
    if (other && other != job)
        return failure(Error::localized(ErrorDomain::Tarvo, kTarvoDuplicateEntry, "tr.address.taken"));
    return {};
}

Result<void> AddressChanges::replace(const Job& job, const Url& address) {
    if (auto possible = check(job, address); !possible)
        return possible;
    const Former former{*job->url(), m_scheduler.holdsBack(job)};
    const Job fresh = job->copyAt(address);
    if (!Log::assertThat(fresh != nullptr))
        return {};
    auto replaced = m_remoteFiles.replaceRemoteFile(job, fresh);
    if (replaced)
        m_former.emplace(fresh, former);
    return replaced;
}

void AddressChanges::preparationEnded(const Job& job) {
    Runloop::assertMain();
    const auto known = m_former.extract(job);
    if (!known || job->currentState() != rf_state_failed || !m_remoteFiles.content().contains(*job))
        return;
    const Former& former = known.mapped();
    Error problem = job->error().value_or(Error{});
    problem.description = localized("tr.address.failed", {job->fileName(), problem.description});
    const Job back = job->copyAt(former.url);
    if (!Log::assertThat(back != nullptr))
        return;
    if (const auto replaced = m_remoteFiles.replaceRemoteFile(job, back); !replaced)
        Log::error("The former address can't be gone back to: {}", replaced.error().sentence());
    else if (former.wasHeldBack)
        m_scheduler.addToPausedSet(back);
    m_alerts.presentError(problem);
}

} // namespace tarvo
