// The end of the queue with the program: what runs is suspended, saved and stopped.
#pragma once

#include <memory>

#include <QObject>
#include <QTimer>

#include "base/WorkQueue.h"
#include "queue/JobFiles.h"
#include "queue/RemoteFilesArrayController.h"
#include "queue/TRQueueScheduler.h"

namespace tarvo {

/// Main thread.
class QueueEnding : public QObject {
    Q_OBJECT

public:
    using Job = std::shared_ptr<RemoteFile>;

    /// Everything referred to outlives it.
    QueueEnding(RemoteFilesArrayController& remoteFiles, TRQueueScheduler& scheduler, JobFiles& files,
                WorkQueue& workers);

    /// Nothing is started from here on.
    void begin();

    bool hasBegun() const { return m_hasBegun; }

Q_SIGNALS:
    void begun();
    /// The job is suspended, and its save was tried.
    void suspended(const std::shared_ptr<tarvo::RemoteFile>& job, bool saved);
    /// No worker is left.
    void workersGone();

private:
    void lookForWorkers();

    RemoteFilesArrayController& m_remoteFiles;
    TRQueueScheduler& m_scheduler;
    JobFiles& m_files;
    WorkQueue& m_workers;
    bool m_hasBegun = false;
    QTimer m_idleTimer;
};

} // namespace tarvo
