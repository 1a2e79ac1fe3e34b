// The state machine that all jobs share, with a job that transfers nothing.
#include "jobs/RemoteFileBase.h"
#include "support/FakeClock.h"
#include "support/JobHarness.h"

#include <gtest/gtest.h>

namespace tarvo::test {

namespace {

Error someError(const std::string& text) {
    return {std::string(ErrorDomain::Tarvo), 1, text, ""};
}

/// Its two steps do what the test has told them.
class ScriptedFile final : public RemoteFileBase {
public:
    static std::shared_ptr<ScriptedFile> create(const JobEnvironment& environment) {
        return shared(new ScriptedFile(environment));
    }

    std::function<Result<void>()> makeReady = [] { return Result<void>(); };
    std::function<Result<void>()> download = [] { return Result<void>(); };
    bool retryable = true;
    std::int64_t done = 0;
    std::vector<std::string> hooks;

    using RemoteFileBase::setFileSize;

    std::string description() const override { return "ScriptedFile"; }

    std::int64_t totalBytesDownloaded() const override { return done; }

    std::string basePath() const override { return "/"; }

    std::optional<std::string> finalFilePath() const override { return std::nullopt; }

    std::optional<std::string> activeFile() const override { return std::nullopt; }

    std::int64_t userRequestedPartitions() const override { return 1; }

    std::int64_t activeConnections() const override { return 1; }

    bool supportsRecovery() const override { return false; }

    bool isRetryable() const override { return retryable; }

    Result<void> saveProgress() override { return {}; }

    Result<void> moveBundleTo(const std::string&) override { return {}; }

    std::optional<Error> removeFiles() override { return std::nullopt; }

    std::shared_ptr<RemoteFile> copy() const override { return nullptr; }

    std::string archivedClassName() const override { return "ScriptedFile"; }

    void encode(KeyedArchiver&) const override {}

private:
    using RemoteFileBase::RemoteFileBase;

    Result<void> doMakeReady(std::shared_ptr<const TRAuthToken>) override {
        auto made = makeReady();
        if (!made)
            failWithError(made.error());
        return made;
    }

    Result<void> doDownload() override { return download(); }

    void onStart() override {
        hooks.emplace_back("start");
        RemoteFileBase::onStart();
    }

    void onPause() override {
        hooks.emplace_back("pause");
        RemoteFileBase::onPause();
    }

    void onResume() override {
        hooks.emplace_back("resume");
        RemoteFileBase::onResume();
    }

    void onStop() override {
        hooks.emplace_back("stop");
        RemoteFileBase::onStop();
    }
};

} // namespace

class RemoteFileBaseTest : public ::testing::Test {
protected:
    JobHarness harness;
    std::shared_ptr<ScriptedFile> job = ScriptedFile::create(harness.environment);
};

TEST_F(RemoteFileBaseTest, GoesThroughItsStatesOnTheMainThreadOnceEach) {
    std::vector<rf_state_t> states;
    QObject::connect(job.get(), &RemoteFile::currentStateChanged, [&](rf_state_t, rf_state_t state) {
        EXPECT_TRUE(Runloop::isMainThread());
        states.push_back(state);
    });
    EXPECT_FALSE(harness.run(job));
    EXPECT_EQ(states,
              (std::vector{rf_state_preparing, rf_state_ready, rf_state_running, rf_state_succeeded}));
    EXPECT_FALSE(job->pause());
    EXPECT_FALSE(job->resumeOrStart(harness.workers));
}

TEST_F(RemoteFileBaseTest, ADownloadIsPausedAndResumedOnlyWhileItRuns) {
    std::atomic<bool> end{false};
    job->download = [&] {
        while (!end)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return Result<void>();
    };
    EXPECT_FALSE(job->pause());
    harness.start(job);
    EXPECT_EQ(job->currentState(), rf_state_running);
    EXPECT_FALSE(job->resume());
    EXPECT_TRUE(job->pause());
    const auto again = harness.prepare(job);
    EXPECT_TRUE(again && again->is(ErrorDomain::RemoteFile, kRemoteFileIllegalState));
    EXPECT_EQ(job->currentState(), rf_state_paused);
    EXPECT_TRUE(job->resumeOrStart(harness.workers));
    EXPECT_TRUE(job->stop());
    EXPECT_FALSE(job->stop());
    end = true;
    ASSERT_TRUE(turnUntil([&] { return harness.workers.isIdle(); }));
    EXPECT_EQ(job->currentState(), rf_state_stopped);
    EXPECT_EQ(job->hooks, (std::vector<std::string>{"start", "pause", "resume", "stop"}));
}

TEST_F(RemoteFileBaseTest, TheFirstFailureWinsAndAStoppedJobStaysStopped) {
    job->failWithError(someError("first"));
    job->failWithError(someError("second"));
    EXPECT_EQ(job->error()->description, "first");
    EXPECT_TRUE(job->errorDate());
    const auto stopped = ScriptedFile::create(harness.environment);
    stopped->stop();
    stopped->failWithError(someError("late"));
    EXPECT_EQ(stopped->currentState(), rf_state_stopped);
    EXPECT_FALSE(stopped->error());
    EXPECT_TRUE(harness.prepare(stopped));
}

TEST_F(RemoteFileBaseTest, AFailedPreparationMayBeRepeatedAndACompleteFileIsASuccess) {
    job->makeReady = [] { return failure(someError("no")); };
    EXPECT_TRUE(harness.prepare(job));
    EXPECT_EQ(job->currentState(), rf_state_failed);
    job->makeReady = [] {
        return failure(Error{std::string(ErrorDomain::RemoteFile), kRemoteFileAlreadyComplete, "", ""});
    };
    EXPECT_FALSE(harness.prepare(job));
    EXPECT_EQ(job->currentState(), rf_state_succeeded);
}

TEST_F(RemoteFileBaseTest, AJobStoppedWhileItIsPreparedDoesNotBecomeReady) {
    job->makeReady = [this] {
        Runloop::runOnMainAndWait([this] { job->stop(); });
        return Result<void>();
    };
    EXPECT_TRUE(harness.prepare(job));
    EXPECT_EQ(job->currentState(), rf_state_stopped);
}

TEST(RemoteFileStall, FailsARetryableJobThatReceivesNothing) {
    JobHarness harness;
    FakeClock clock;
    const JobEnvironment environment{harness.defaults, harness.disk, clock, harness.transfers,
                                     harness.savingQueue};
    for (const bool retryable : {true, false}) {
        const auto job = ScriptedFile::create(environment);
        job->retryable = retryable;
        std::atomic<bool> end{false};
        job->download = [&] {
            while (!end)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            return Result<void>();
        };
        harness.start(job);
        clock.advance(Seconds(15.5)); // seen by the next tick of the job's own timer
        turnUntil([&] { return job->currentState() == rf_state_failed; }, std::chrono::milliseconds(1200));
        EXPECT_EQ(job->currentState(), retryable ? rf_state_failed : rf_state_running);
        EXPECT_EQ(job->error().has_value(), retryable);
        EXPECT_TRUE(!retryable || job->error()->is(ErrorDomain::Tarvo, kTarvoSchedulerTimeout));
        end = true;
        turnUntil([&] { return harness.workers.isIdle(); });
    }
}

TEST_F(RemoteFileBaseTest, DerivedValues) {
    EXPECT_EQ(job->percentComplete(), -1.0);
    job->setFileSize(1000);
    job->done = 250;
    EXPECT_EQ(job->percentComplete(), 25.0);
    EXPECT_EQ(job->secondsRemaining(), 750.0);
    job->setOverridenFileName("..a:b");
    EXPECT_EQ(job->fileName(), "a_b");
    EXPECT_EQ(statusText(rf_state_preparing), "Unknown");
    EXPECT_EQ(statusText(rf_state_paused), "Paused");
}

TEST_F(RemoteFileBaseTest, TheLastReferenceMayFallOnAWorker) {
    std::thread::id destroyedOn;
    QObject::connect(job.get(), &QObject::destroyed, [&] { destroyedOn = std::this_thread::get_id(); });
    harness.workers.async([last = std::move(job)]() mutable { last.reset(); });
    ASSERT_TRUE(turnUntil([&] { return destroyedOn != std::thread::id(); }));
    EXPECT_EQ(destroyedOn, std::this_thread::get_id());
}

} // namespace tarvo::test
