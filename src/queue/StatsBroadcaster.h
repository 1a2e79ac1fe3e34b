// Tells once a second how the present batch of downloads is doing.
#pragma once

#include <string_view>
#include <unordered_set>

#include "base/NotificationCenter.h"
#include "queue/RemoteFileCollectionStats.h"
#include "queue/RemoteFilesArrayController.h"

namespace tarvo {

/// A batch is what has been in the queue since all downloads were last finished: from then on the finished
/// jobs, whether they stay in the list or not, count no more. Main thread.
class StatsBroadcaster {
public:
    /// Posted by broadcastStats(). User info: "stats", a std::shared_ptr<const RemoteFileCollectionStats>.
    static constexpr std::string_view kStatsBroadcastEvent = "StatsBroadcastEvent";
    static constexpr std::string_view kStatsBroadcastKey = "stats";

    /// Both outlive the broadcaster.
    StatsBroadcaster(const RemoteFilesArrayController& rfac, NotificationCenter& notifications);

    void broadcastStats();

    /// The batch's finished jobs count on, though they are about to leave the list.
    void countOnWithoutRows();

private:
    void endBatch();

    const RemoteFilesArrayController& m_rfac;
    NotificationCenter& m_notifications;
    // A job in the queue is the only one of its identity, so the job itself stands for that here: ten
    // thousand addresses need not be written out every second. What leaves the queue leaves this set.
    std::unordered_set<const RemoteFile*> m_ignoredRemoteFiles;
    std::int64_t m_bytesWithoutRows = 0; // of finished jobs of the batch that have left
    NotificationCenter::Observation m_completed;
    NotificationCenter::Observation m_removal;
};

} // namespace tarvo
