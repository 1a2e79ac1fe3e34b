#include "queue/StatsBroadcaster.h"

#include "base/Runloop.h"
#include "queue/QueueNotifications.h"

namespace tarvo {

StatsBroadcaster::StatsBroadcaster(const RemoteFilesArrayController& rfac, NotificationCenter& notifications)
    : m_rfac(rfac), m_notifications(notifications),
      m_completed(notifications.observe(kQueueWindowCompletedAllDownloads,
                                        [this](const Notification&) { endBatch(); })),
      m_removal(notifications.observe(
          RemoteFilesArrayController::kWillRemove, [this](const Notification& notification) {
              using Job = RemoteFilesArrayController::Job;
              if (const auto* job = notification.info<Job>(RemoteFilesArrayController::kRemoteFileKey))
                  m_ignoredRemoteFiles.erase(job->get());
          })) {
}

void StatsBroadcaster::endBatch() {
    Runloop::assertMain();
    m_rfac.content().forEachIn({rf_state_succeeded}, [this](const auto& job) {
        m_ignoredRemoteFiles.insert(job.get());
        return true;
    });
    m_bytesWithoutRows = 0;
}

void StatsBroadcaster::countOnWithoutRows() {
    Runloop::assertMain();
    m_rfac.content().forEachIn({rf_state_succeeded}, [this](const auto& job) {
        if (!m_ignoredRemoteFiles.contains(job.get()))
            m_bytesWithoutRows = sumOfBytes(m_bytesWithoutRows, job->totalBytesDownloaded());
        return true;
    });
}

void StatsBroadcaster::broadcastStats() {
    Runloop::assertMain();
    auto jobs = m_rfac.contentAsArray();
    if (!m_ignoredRemoteFiles.empty())
        std::erase_if(jobs, [this](const auto& job) { return m_ignoredRemoteFiles.contains(job.get()); });
    const std::shared_ptr<const RemoteFileCollectionStats> stats =
        std::make_shared<RemoteFileCollectionStats>(std::move(jobs), m_bytesWithoutRows);
    m_notifications.post(kStatsBroadcastEvent, this, {{std::string(kStatsBroadcastKey), stats}});
}

} // namespace tarvo
