// What the queue's totals count, and from when on they count it no more.
#include "queue/StatsBroadcaster.h"

#include "queue/QueueFixture.h"

#include <limits>

namespace tarvo::test {

class StatsBroadcasterTest : public QueueFixture {
protected:
    using Stats = std::shared_ptr<const RemoteFileCollectionStats>;

    const RemoteFileCollectionStats& broadcast() {
        m_stats.reset();
        broadcaster.broadcastStats();
        EXPECT_TRUE(m_stats);
        return *m_stats;
    }

    StatsBroadcaster broadcaster{queue, notifications};
    Stats m_stats;
    NotificationCenter::Observation m_listener =
        notifications.observe("StatsBroadcastEvent", [this](const Notification& notification) {
            if (const auto* stats = notification.info<Stats>("stats"))
                m_stats = *stats;
        });
};

TEST_F(StatsBroadcasterTest, SumsWhatTheJobsShowWhenItIsRead) {
    EXPECT_EQ(broadcast().totalBytes(), 0);
    EXPECT_EQ(broadcast().percentDownloaded(), -1.0);
    const auto job = add("a", rf_state_running, 1000, 250, 10);
    add("b", rf_state_paused, 3000, 750, 5);
    const auto& stats = broadcast();
    EXPECT_EQ(stats.totalBytes(), 4000);
    EXPECT_EQ(stats.bytesDownloaded(), 1000);
    EXPECT_EQ(stats.percentDownloaded(), 0.25);
    EXPECT_EQ(stats.currentSpeed(), 15);
    job->done = 1000;
    EXPECT_EQ(stats.bytesDownloaded(), 1750);
    const auto huge = add("huge", rf_state_paused, std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(broadcast().totalBytes(), std::numeric_limits<std::int64_t>::max()); // and no overflow
    queue.removeRemoteFile(huge);
    add("unknown", rf_state_running, -1, 50);
    EXPECT_EQ(broadcast().totalBytes(), -1);
    EXPECT_EQ(broadcast().percentDownloaded(), -1.0);
    EXPECT_EQ(broadcast().bytesDownloaded(), 1800);
}

TEST_F(StatsBroadcasterTest, AFinishedBatchCountsNoMoreUntilItIsDownloadedAgain) {
    const auto first = add("a", rf_state_succeeded, 1000, 1000);
    const auto stopped = add("b", rf_state_stopped, 50, 5);
    complete();
    EXPECT_EQ(broadcast().totalBytes(), 50);
    queue.removeRemoteFile(stopped);
    EXPECT_EQ(broadcast().totalBytes(), 0);
    EXPECT_EQ(broadcast().percentDownloaded(), -1.0);
    add("c", rf_state_running, 400, 100);
    EXPECT_EQ(broadcast().totalBytes(), 400);
    queue.removeRemoteFile(first);
    EXPECT_TRUE(queue.addRemoteFile(first));
    EXPECT_EQ(broadcast().totalBytes(), 1400);

    const auto cleared = add("d", rf_state_succeeded, 600, 600);
    broadcaster.countOnWithoutRows();
    queue.removeRemoteFile(cleared);
    EXPECT_EQ(broadcast().totalBytes(), 2000) << "its row has left, not its part of the batch";
    EXPECT_EQ(broadcast().percentDownloaded(), 1700.0 / 2000);
    complete();
    EXPECT_EQ(broadcast().totalBytes(), 1400) << "of what has not succeeded";
}

} // namespace tarvo::test
