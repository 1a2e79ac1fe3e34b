// What the queue's totals count, and from when on they count it no more.
#include "queue/StatsBroadcaster.h"

#include "queue/QueueFixture.h"

#include <limits>

namespace tarvo::test {

class StatsBroadcasterTest : public QueueFixture {
protected:
    using Stats = std::shared_ptr<const RemoteFileCollectionStats>;

    Stats broadcast() {
        Stats told;
        const auto listener =
            notifications.observe(StatsBroadcaster::kStatsBroadcastEvent, [&](const Notification& news) {
                told = *news.info<Stats>(StatsBroadcaster::kStatsBroadcastKey);
            });
        broadcaster.broadcastStats();
        return told;
    }

    StatsBroadcaster broadcaster{queue, notifications};
};

TEST_F(StatsBroadcasterTest, SumsWhatTheJobsShowWhenItIsRead) {
    EXPECT_EQ(broadcast()->percentDownloaded(), -1.0);
    const auto job = add("a", rf_state_running, 1000, 250, 10);
    add("b", rf_state_paused, 3000, 750, 5);
    const auto stats = broadcast();
    EXPECT_EQ(stats->percentDownloaded(), 0.25);
    EXPECT_EQ(stats->currentSpeed(), 15);
    job->done = 1000;
    EXPECT_EQ(stats->bytesDownloaded(), 1750);
    const auto most = std::numeric_limits<std::int64_t>::max();
    add("huge", rf_state_paused, most);
    EXPECT_EQ(broadcast()->totalBytes(), most) << "and no overflow";
    add("unknown", rf_state_running, -1, 50);
    EXPECT_EQ(broadcast()->totalBytes(), -1);
    EXPECT_EQ(broadcast()->bytesDownloaded(), 1800);
}

TEST_F(StatsBroadcasterTest, AFinishedBatchCountsNoMoreUntilItIsDownloadedAgain) {
    const auto first = add("a", rf_state_succeeded, 1000, 1000);
    add("b", rf_state_running, 400, 100);
    complete();
    EXPECT_EQ(broadcast()->totalBytes(), 400);
    queue.removeRemoteFile(first);
    EXPECT_TRUE(queue.addRemoteFile(first));
    EXPECT_EQ(broadcast()->totalBytes(), 1400);

    const auto cleared = add("c", rf_state_succeeded, 600, 600);
    broadcaster.countOnWithoutRows();
    queue.removeRemoteFile(cleared);
    EXPECT_EQ(broadcast()->percentDownloaded(), 0.85) << "its row has left, not its part of the batch";
    complete();
    EXPECT_EQ(broadcast()->totalBytes(), 1400) << "of what has not succeeded";
}

} // namespace tarvo::test
