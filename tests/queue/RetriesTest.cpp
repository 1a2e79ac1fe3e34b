// When failed jobs are tried again, and which are not.
#include "queue/Retries.h"

#include "QueueFixture.h"
#include "support/FakeClock.h"
#include "support/TurnUntil.h"

#include <filesystem>

namespace tarvo::test {

class RetriesTest : public QueueFixture {
protected:
    /// An attempt of the job that brings so many bytes and fails.
    void fail(const std::shared_ptr<RemoteFile>& job, std::int64_t bytes = 0) {
        const auto scripted = std::static_pointer_cast<ScriptedJob>(job);
        scripted->setCurrentState(rf_state_ready);
        scripted->setCurrentState(rf_state_running);
        scripted->done += bytes;
        scripted->shownError = Error::posix(EIO, "read", "x");
        scripted->shownErrorDate = clock.now();
        scripted->setCurrentState(rf_state_failed);
    }

    /// What stands in the first row after a pass so much later.
    std::shared_ptr<RemoteFile> firstAfter(double seconds) {
        clock.advance(Seconds(seconds));
        retries.pass();
        return queue.jobAt(0);
    }

    FakeClock clock;
    Retries retries{queue, clock, kRetryDelay,
                    [this](const auto& job) { return queue.reloadRemoteFile(job); }};
};

TEST_F(RetriesTest, AFailedJobIsReplacedInItsRowAfterAWaitThatGrowsWithoutNewBytes) {
    EXPECT_EQ(retryDelayAfter(1'000'000, kRetryDelay), Seconds(3600));
    const auto bad = add("bad", rf_state_ready);
    add("other", rf_state_ready);
    bad->fruitlessAttempts = 9;
    bad->attemptNumber = 4;
    const std::tuple<std::int64_t, double> attempts[] = {{0, 11}, {0, 22}, {0, 44}, {1, 11}, {0, 11}};
    for (const auto& [bytes, wait] : attempts) {
        const auto job = queue.jobAt(0);
        fail(job, bytes);
        EXPECT_EQ(firstAfter(wait - 0.1), job) << wait;
        EXPECT_NE(firstAfter(0.2), job) << wait;
    }
    EXPECT_EQ(queue.jobAt(0)->attemptNumber, 4u);
}

TEST_F(RetriesTest, NoSoonerThanTheServerWantsIt) {
    const auto job = add("busy", rf_state_ready);
    fail(job);
    job->shownError->retryAfter = 900;
    EXPECT_EQ(firstAfter(899), job);
    EXPECT_NE(firstAfter(2), job);
    job->shownError->retryAfter = 1'000'000;
    EXPECT_EQ(retryDelayOf(*job, kRetryDelay), kMostRetryDelay);
}

TEST_F(RetriesTest, ABundleThatIsAwayIsLookedForWithoutAnAttemptUntilItIsBack) {
    const auto away = add("away", rf_state_ready);
    away->awaited = harness.folder.path("away");
    fail(away);
    for (int look = 0; look < 2; ++look) {
        const auto planned = (firstAfter(0), *away->nextScheduledRun);
        EXPECT_EQ(firstAfter(11.1), away);
        ASSERT_TRUE(turnUntil([&] { return away->nextScheduledRun != planned; })) << "it was looked for";
    }
    EXPECT_EQ(away->fruitlessAttempts, 0u);
    std::filesystem::create_directory(*away->awaited);
    firstAfter(11.1);
    EXPECT_TRUE(turnUntil([&] { return queue.jobAt(0) != away; }));
}

} // namespace tarvo::test
