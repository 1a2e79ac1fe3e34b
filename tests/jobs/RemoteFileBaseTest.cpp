// The state machine that all jobs share, with a job that transfers nothing.
#include "support/FakeClock.h"
#include "support/JobHarness.h"
#include "support/ScriptedJob.h"

#include <gtest/gtest.h>

namespace tarvo::test {

class RemoteFileBaseTest : public ::testing::Test {
protected:
    ~RemoteFileBaseTest() override { end = true; }

    std::shared_ptr<ScriptedJob> make(bool endless = false) {
        auto made = ScriptedJob::create(environment, "http://127.0.0.1/a");
        if (endless)
            made->download = [this] {
                while (!end)
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                return Result<void>();
            };
        return made;
    }

    FakeClock clock; // first, for what still runs at the end looks at it
    JobHarness harness;
    JobEnvironment environment{harness.defaults, harness.disk, clock, harness.transfers, harness.savingQueue};
    std::atomic<bool> end{false};
};

TEST_F(RemoteFileBaseTest, GoesThroughItsStatesOnTheMainThreadOnceEach) {
    const auto job = make();
    std::vector<rf_state_t> states;
    QObject::connect(job.get(), &RemoteFile::currentStateChanged, [&](rf_state_t, rf_state_t state) {
        EXPECT_TRUE(Runloop::isMainThread());
        states.push_back(state);
    });
    EXPECT_FALSE(harness.run(job));
    EXPECT_EQ(states,
              (std::vector{rf_state_preparing, rf_state_ready, rf_state_running, rf_state_succeeded}));
    EXPECT_FALSE(job->pause() || job->resumeOrStart(harness.workers));
}

TEST_F(RemoteFileBaseTest, ADownloadIsPausedAndResumedOnlyWhileItRuns) {
    const auto job = make(true);
    EXPECT_FALSE(job->pause());
    job->setFileSize(1000);
    job->done = 250;
    harness.start(job);
    EXPECT_EQ(job->percentComplete(), 25.0);
    EXPECT_EQ(job->secondsRemaining(), 750.0);
    EXPECT_FALSE(job->resume());
    EXPECT_TRUE(job->pause());
    EXPECT_TRUE(harness.prepare(job)->is(ErrorDomain::RemoteFile, kRemoteFileIllegalState));
    EXPECT_EQ(job->currentState(), rf_state_paused);
    EXPECT_TRUE(job->resumeOrStart(harness.workers));
    EXPECT_TRUE(job->stop());
    EXPECT_FALSE(job->stop());
    end = true;
    ASSERT_TRUE(turnUntil([&] { return harness.workers.isIdle(); }));
    EXPECT_EQ(job->currentState(), rf_state_stopped);
}

TEST_F(RemoteFileBaseTest, TheFirstFailureWinsAndAStoppedJobStaysStopped) {
    const auto job = make();
    job->failWithError(Error::tarvo("first"));
    job->failWithError(Error::tarvo("second"));
    EXPECT_EQ(job->error()->description, "first");
    const auto stopped = make();
    stopped->stop();
    stopped->failWithError(Error::tarvo("late"));
    EXPECT_EQ(stopped->currentState(), rf_state_stopped);
    EXPECT_FALSE(stopped->error());
    EXPECT_TRUE(harness.prepare(stopped));

    const auto interrupted = make();
    interrupted->makeReady = [&](const auto&) {
        Runloop::runOnMainAndWait([&] { interrupted->stop(); });
        return Result<void>();
    };
    EXPECT_TRUE(harness.prepare(interrupted));
    EXPECT_EQ(interrupted->currentState(), rf_state_stopped);
}

TEST_F(RemoteFileBaseTest, ARetryableJobThatReceivesNothingFails) {
    environment.stallTimeout = Seconds(0.8);
    for (const bool retryable : {true, false}) {
        const auto job = make(true);
        job->retryable = retryable;
        harness.start(job);
        clock.advance(Seconds(0.9)); // seen by the next tick of the job's own timer
        turnUntil([&] { return job->currentState() == rf_state_failed; }, std::chrono::milliseconds(1200));
        EXPECT_EQ(job->currentState(), retryable ? rf_state_failed : rf_state_running);
        EXPECT_EQ(job->error() && job->error()->is(ErrorDomain::Tarvo, kTarvoSchedulerTimeout), retryable);
    }
}

TEST_F(RemoteFileBaseTest, TheLastReferenceMayFallOnAWorker) {
    auto job = make();
    std::thread::id destroyedOn;
    QObject::connect(job.get(), &QObject::destroyed, [&] { destroyedOn = std::this_thread::get_id(); });
    harness.workers.async([last = std::move(job)]() mutable { last.reset(); });
    ASSERT_TRUE(turnUntil([&] { return destroyedOn != std::thread::id(); }));
    EXPECT_EQ(destroyedOn, std::this_thread::get_id());
}

} // namespace tarvo::test
