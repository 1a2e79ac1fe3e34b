// Compares finished files with the checksums that the user wants them to have.
#pragma once

#include <atomic>
#include <memory>

#include <QObject>

#include "base/SerialQueue.h"
#include "queue/AlertPresenter.h"
#include "queue/RemoteFilesArrayController.h"

namespace tarvo {

/// Main thread; the files are read on a queue of its own, one after the other. A wrong one is kept, and the
/// user is told. The end of the object ends what is under way: its file is whole, but has not been compared.
class ChecksumWatch final : public QObject {
    Q_OBJECT

public:
    /// Both outlive it.
    ChecksumWatch(RemoteFilesArrayController& queue, AlertPresenter& alerts);
    ~ChecksumWatch() override;

Q_SIGNALS:
    /// The job's file has been compared.
    void compared(const std::shared_ptr<tarvo::RemoteFile>& job, bool isRight);

private:
    class Cancellation;

    void compare(const std::shared_ptr<RemoteFile>& job);
    void tell(const std::shared_ptr<RemoteFile>& job, const std::optional<std::string>& found);

    AlertPresenter& m_alerts;
    const std::shared_ptr<Cancellation> m_cancellation;
    SerialQueue m_hashingQueue{"com.unregistered.tarvo2.hashingQueue"};
};

} // namespace tarvo
