// Has unfinished downloads of the queue go on from other addresses.
#pragma once

#include <memory>
#include <unordered_map>

#include <QObject>

#include "queue/AlertPresenter.h"
#include "queue/JobFiles.h"
#include "queue/TRQueueScheduler.h"

namespace tarvo {

/// Main thread. A job is replaced by one at the new address, whose preparation proves that it has the same
/// file. If that fails, whatever the reason, the user is told and the job at the former address is back in
/// the row: only a user can tell whether another attempt is worth it.
class AddressChanges : public QObject {
public:
    using Job = std::shared_ptr<RemoteFile>;

    /// All outlive it.
    AddressChanges(RemoteFilesArrayController& remoteFiles, TRQueueScheduler& scheduler, JobFiles& files,
                   AlertPresenter& alerts);

    /// What is under way is paused and saved first, in the background. What was held back goes on, once the
    /// address is proven. Error, and then nothing has changed: kTarvoDuplicateEntry; that the job is not in
    /// the queue any more, or can't go on from another address (canChangeAddress()).
    Result<void> change(const Job& job, const Url& address);

private:
    struct Former {
        Url url;
        bool wasHeldBack = false;
    };

    Result<void> check(const Job& job, const Url& address) const;
    Result<void> replace(const Job& job, const Url& address);
    void preparationEnded(const Job& job);

    RemoteFilesArrayController& m_remoteFiles;
    TRQueueScheduler& m_scheduler;
    JobFiles& m_files;
    AlertPresenter& m_alerts;
    std::unordered_map<Job, Former> m_former; // of the jobs whose address is not proven yet
};

/// Whether a job could go on from another address.
bool canChangeAddress(const RemoteFile& job);

} // namespace tarvo
