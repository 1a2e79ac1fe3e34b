// Replaces jobs by fresh ones of the same download, once what they have is saved.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "queue/AlertPresenter.h"
#include "queue/JobFiles.h"
#include "queue/RemoteFilesArrayController.h"

namespace tarvo {

/// Main thread. The jobs that it is given are in the queue.
class JobReloads {
public:
    using Job = std::shared_ptr<RemoteFile>;

    /// All outlive it, and `files` ends before `remoteFiles` and `alerts`.
    JobReloads(RemoteFilesArrayController& remoteFiles, JobFiles& files, AlertPresenter& alerts)
        : m_remoteFiles(remoteFiles), m_files(files), m_alerts(alerts) {}

    void reload(const std::vector<Job>& jobs);

    /// See RemoteFile::setUserRequestedPartitions(). What is planned for another number is planned anew.
    void setConnections(const std::vector<Job>& jobs, std::int64_t connections);

private:
    void reloadSaved(const Job& job, const Result<void>& saved);

    RemoteFilesArrayController& m_remoteFiles;
    JobFiles& m_files;
    AlertPresenter& m_alerts;
};

} // namespace tarvo
