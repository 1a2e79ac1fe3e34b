#include "queue/JobReloads.h"

#include "base/Runloop.h"

namespace tarvo {

void JobReloads::reload(const std::vector<Job>& jobs) {
    Runloop::assertMain();
    for (const auto& job : jobs) {
        const rf_state_t state = job->currentState();
        if (state != rf_state_running && state != rf_state_paused) {
            reloadSaved(job, job->saveProgress());
            continue;
        }
        job->pause(); // so that all it has can be saved
        m_files.save(job, [this, job](const Result<void>& saved) { reloadSaved(job, saved); });
    }
}

void JobReloads::reloadSaved(const Job& job, const Result<void>& saved) {
    if (!m_remoteFiles.content().contains(*job)) // removed while it was being saved
        return;
    if (const auto fresh = m_remoteFiles.reloadSavedRemoteFile(job, saved); !fresh)
        m_alerts.presentError(fresh.error());
}

void JobReloads::setConnections(const std::vector<Job>& jobs, std::int64_t connections) {
    Runloop::assertMain();
    std::vector<Job> planned;
    for (const auto& job : jobs) {
        if (job->userRequestedPartitions() == connections)
            continue;
        job->setUserRequestedPartitions(connections);
        if (job->currentState() == rf_state_ready)
            planned.push_back(job);
    }
    reload(planned);
}

} // namespace tarvo
