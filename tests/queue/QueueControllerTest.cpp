// When the queue prepares, starts, holds back and tries again, and what its commands do to it.
#include "queue/QueueController.h"

#include "queue/QueueNotifications.h"
#include "support/FakeClock.h"
#include "support/JobHarness.h"
#include "support/ScriptedJob.h"

#include <gtest/gtest.h>

namespace tarvo::test {

namespace {

using namespace std::chrono_literals;

/// Holds workers until it is opened.
class Gate {
public:
    void open() { m_isOpen = true; }

    Result<void> pass() {
        ++m_waiting;
        while (!m_isOpen)
            std::this_thread::sleep_for(1ms);
        return {};
    }

    int waiting() const { return m_waiting; }

private:
    std::atomic<bool> m_isOpen{false};
    std::atomic<int> m_waiting{0};
};

/// Answers from a script.
class Answers final : public PageOpener,
                      public AlertPresenter,
                      public PasswordStore,
                      public AuthenticationPrompt {
public:
    BrowserEndReason openBrowserFor(const std::shared_ptr<RemoteFile>&,
                                    std::shared_ptr<RemoteFile>& found) override {
        ++pagesOpened;
        found = replacement;
        return reason;
    }

    void presentError(const Error& error) override { errors.push_back(error); }

    std::size_t runAlert(const std::string& message, const std::string&,
                         const std::vector<std::string>&) override {
        alerts += message;
        return button;
    }

    std::optional<AuthenticationAnswer> promptAuthentication(const AuthenticationQuestion&) override {
        ++prompts;
        return prompts <= answersGiven ? std::optional(AuthenticationAnswer{"bob", "secret", false})
                                       : std::nullopt;
    }

    std::vector<std::string> accounts(const std::string&) override { return {}; }

    std::optional<std::string> password(const std::string&, const std::string&) override { return {}; }

    void store(const std::string&, const std::string&, const std::string&) override {}

    BrowserEndReason reason = BrowserEndReason::cancelled;
    std::shared_ptr<RemoteFile> replacement;
    std::atomic<int> pagesOpened{0};
    std::vector<Error> errors;
    std::string alerts;
    std::size_t button = 0;
    int answersGiven = 0;
    int prompts = 0;
};

Error jobError(RemoteFileError code) {
    return {std::string(ErrorDomain::RemoteFile), code, "", ""};
}

} // namespace

class QueueControllerTest : public ::testing::Test {
protected:
    QueueControllerTest() {
        concurrency(1);
        completed = notifications.observe(kQueueWindowCompletedAllDownloads,
                                          [this](const Notification&) { ++completions; });
    }

    ~QueueControllerTest() override {
        gate.open();
        bool ended = false;
        QObject::connect(&controller, &QueueController::ended, [&] { ended = true; });
        controller.quit();
        EXPECT_TRUE(turnUntil([&] { return ended; }));
    }

    void concurrency(int count) { harness.defaults.setForThisRun("DefaultConcurrency", count); }

    /// A job that is ready at once and runs until the gate is opened.
    std::shared_ptr<ScriptedJob> make(const std::string& name) {
        auto job = ScriptedJob::create(environment, "http://127.0.0.1/" + name);
        job->download = [this] { return gate.pass(); };
        return job;
    }

    std::shared_ptr<ScriptedJob> add(const std::string& name) {
        auto job = make(name);
        EXPECT_TRUE(controller.addDownloads({job}));
        return job;
    }

    /// As many turns as a change needs to bring all its consequences.
    bool comesTo(const std::shared_ptr<RemoteFile>& job, rf_state_t state) {
        return turnUntil([&] { return job->currentState() == state; }, 5s);
    }

    /// A few turns in which what must not happen had the chance to.
    void turn() {
        int turns = 0;
        turnUntil([&] { return ++turns > 30; });
    }

    void select(const std::set<std::size_t>& rows) { controller.remoteFiles().setSelectionIndexes(rows); }

    JobHarness harness;
    FakeClock clock;
    JobEnvironment environment{harness.defaults, harness.disk, clock, harness.transfers, harness.savingQueue};
    NotificationCenter notifications;
    NotificationCenter::Observation completed;
    int completions = 0;
    Gate gate;
    Answers answers;
    AuthenticationManager credentials{answers, &answers, harness.defaults, clock};
    QueueController controller{{.jobs = environment,
                                .notifications = notifications,
                                .authManager = credentials,
                                .pages = answers,
                                .alerts = answers}};
};

TEST_F(QueueControllerTest, StartsAsManyAsWantedInTheirOrderAndTheNextAtOnce) {
    concurrency(2);
    std::vector<std::shared_ptr<ScriptedJob>> jobs;
    for (const auto* name : {"a", "b", "c", "d"})
        jobs.push_back(add(name));
    for (const auto& job : jobs)
        ASSERT_TRUE(comesTo(job, rf_state_ready)); // prepared, not started
    turn();
    EXPECT_EQ(controller.runState(), QueueRunState::waiting);
    EXPECT_EQ(controller.remoteFiles().runningJobs(), 0u);

    std::atomic<bool> endFirst{false};
    jobs[0]->download = [&]() -> Result<void> {
        while (!endFirst)
            std::this_thread::sleep_for(1ms);
        return {};
    };
    controller.toggleAutorun();
    EXPECT_EQ(controller.startStopControl().label, "Pause");
    ASSERT_TRUE(comesTo(jobs[1], rf_state_running));
    turn();
    EXPECT_EQ(controller.remoteFiles().runningJobs(), 2u);
    EXPECT_EQ(jobs[2]->currentState(), rf_state_ready);
    EXPECT_EQ(jobs[0]->attemptNumber, 1u); // however many passes there were
    const auto before = std::chrono::steady_clock::now();
    endFirst = true;
    ASSERT_TRUE(comesTo(jobs[2], rf_state_running));
    EXPECT_LT(std::chrono::steady_clock::now() - before, 500ms); // no tick was waited for
    gate.open();
    ASSERT_TRUE(turnUntil([&] { return completions > 0; }));
    turn();
    EXPECT_EQ(completions, 1);
    EXPECT_EQ(controller.runState(), QueueRunState::stopped);
    EXPECT_EQ(controller.startStopControl().label, "Start");
}

TEST_F(QueueControllerTest, PreparesOneAtATimeAndEachOnce) {
    std::atomic<int> atOnce{0};
    std::atomic<int> most{0};
    std::atomic<int> prepared{0};
    for (int i = 0; i < 20; ++i) {
        const auto job = make(std::to_string(i));
        job->makeReady = [&](const auto&) {
            most = std::max(most.load(), ++atOnce);
            std::this_thread::sleep_for(1ms);
            --atOnce;
            ++prepared;
            return Result<void>();
        };
        EXPECT_TRUE(controller.addDownloads({job}));
    }
    ASSERT_TRUE(turnUntil([&] { return controller.remoteFiles().jobsInState(rf_state_ready) == 20; }));
    turn();
    EXPECT_EQ(prepared, 20);
    EXPECT_EQ(most, 1);
}

TEST_F(QueueControllerTest, WhatTheUserWantsOfOneJobHoldsAgainstTheQueue) {
    const auto a = add("a");
    const auto b = add("b");
    const auto c = add("c");
    ASSERT_TRUE(comesTo(c, rf_state_ready));
    select({1, 2});
    controller.resumeSelected(); // more than the queue would run, and it does not even run
    ASSERT_TRUE(comesTo(b, rf_state_running) && comesTo(c, rf_state_running));
    turn();
    EXPECT_EQ(a->currentState(), rf_state_ready);
    EXPECT_EQ(controller.runState(), QueueRunState::waiting);

    select({0, 1});
    controller.pauseSelected();
    EXPECT_EQ(b->currentState(), rf_state_paused);
    concurrency(3);
    controller.toggleAutorun(); // releases everything
    ASSERT_TRUE(comesTo(a, rf_state_running) && comesTo(b, rf_state_running));
    select({0});
    controller.pauseSelected();
    turn();
    EXPECT_EQ(a->currentState(), rf_state_paused); // though there is a free place
    controller.toggleAutorun();
    EXPECT_EQ(controller.runState(), QueueRunState::paused);
    EXPECT_EQ(controller.startStopControl().label, "Resume");
    EXPECT_EQ(controller.remoteFiles().runningJobs(), 0u);
    turn();
    EXPECT_EQ(b->attemptNumber, 2u);
}

TEST_F(QueueControllerTest, TriesAFailedJobAgainElevenSecondsLaterInItsRow) {
    const auto bad = make("bad");
    bad->makeReady = [](const auto&) { return failure(Error::posix(EIO, "read", "x")); };
    ASSERT_TRUE(controller.addDownloads({bad, make("good")}));
    bad->attemptNumber = 4;
    controller.toggleAutorun();
    ASSERT_TRUE(comesTo(bad, rf_state_failed));
    gate.open();
    ASSERT_TRUE(turnUntil([&] { return controller.remoteFiles().succeededJobs() == 1; }));
    clock.advance(Seconds(10.5));
    ASSERT_TRUE(turnUntil([&] { return bad->nextScheduledRun.has_value(); }, 5s)); // a tick
    turn();
    EXPECT_EQ(controller.remoteFiles().contentAsArray()[0], bad);
    bad->makeCopy = [this] { return make("bad"); };
    clock.advance(Seconds(0.6));
    ASSERT_TRUE(turnUntil([&] { return controller.remoteFiles().contentAsArray()[0] != bad; }, 5s));
    const auto fresh = controller.remoteFiles().contentAsArray()[0];
    ASSERT_TRUE(comesTo(fresh, rf_state_succeeded));
    EXPECT_EQ(fresh->attemptNumber, 5u);
    ASSERT_TRUE(turnUntil([&] { return completions == 1; }));
}

TEST_F(QueueControllerTest, AFailedJobKeepsTheQueueRunningAndOneThatIsNotRetryableIsLeftAlone) {
    const auto bad = make("bad");
    bad->retryable = false;
    bad->download = [] { return failure(Error::posix(EIO, "read", "x")); };
    ASSERT_TRUE(controller.addDownloads({bad}));
    controller.toggleAutorun();
    ASSERT_TRUE(comesTo(bad, rf_state_failed));
    clock.advance(Seconds(100));
    bool ticked = false;
    QObject::connect(&controller, &QueueController::ticked, [&] { ticked = true; });
    ASSERT_TRUE(turnUntil([&] { return ticked; }, 5s));
    EXPECT_EQ(controller.remoteFiles().contentAsArray()[0], bad);
    EXPECT_EQ(controller.runState(), QueueRunState::running);
    EXPECT_EQ(completions, 0);
    select({0});
    controller.removeSelected();
    EXPECT_EQ(controller.runState(), QueueRunState::stopped);
    EXPECT_EQ(completions, 1);
}

TEST_F(QueueControllerTest, ReloadingTheLastJobIsNotTheEndOfTheQueue) {
    const auto job = add("a");
    controller.toggleAutorun();
    ASSERT_TRUE(comesTo(job, rf_state_running));
    select({0});
    controller.reloadSelected();
    ASSERT_TRUE(turnUntil([&] { return controller.remoteFiles().contentAsArray()[0] != job; }, 5s));
    EXPECT_EQ(job->savesDone, 1);
    EXPECT_EQ(controller.runState(), QueueRunState::running);
    EXPECT_EQ(completions, 0);
    gate.open();
    EXPECT_TRUE(turnUntil([&] { return completions == 1; }));
}

TEST_F(QueueControllerTest, AsksForCredentialsAsLongAsTheUserAnswers) {
    const auto job = make("a");
    int asked = 0;
    job->makeReady = [&](const std::shared_ptr<const TRAuthToken>& auth) -> Result<void> {
        ++asked;
        EXPECT_EQ(auth != nullptr, asked > 1);
        return failure(jobError(kRemoteFileAuthenticationErrorCode));
    };
    answers.answersGiven = 2;
    ASSERT_TRUE(controller.addDownloads({job}));
    const auto next = add("b");
    ASSERT_TRUE(comesTo(next, rf_state_ready)); // behind the prompts
    EXPECT_EQ(asked, 3);
    EXPECT_EQ(answers.prompts, 3);
    EXPECT_EQ(job->currentState(), rf_state_failed);
}

TEST_F(QueueControllerTest, APageIsFollowedToWhereTheUserGoes) {
    const auto addPage = [this](const std::string& name) {
        const auto job = make(name);
        job->makeReady = [](const auto&) { return failure(jobError(HTMLPageErrorCode)); };
        EXPECT_TRUE(controller.addDownloads({job}));
        return job;
    };
    const auto closed = addPage("closed");
    ASSERT_TRUE(turnUntil([&] { return answers.pagesOpened == 1; }));
    turn();
    EXPECT_EQ(closed->currentState(), rf_state_failed);
    EXPECT_TRUE(controller.remoteFiles().content().contains(*closed));

    answers.reason = BrowserEndReason::download;
    answers.replacement = make("found");
    harness.defaults.setForThisRun("AutoStartAfterAdd", false);
    const auto replaced = addPage("replaced");
    add("after");
    ASSERT_TRUE(turnUntil([&] { return controller.remoteFiles().content().contains(*answers.replacement); }));
    EXPECT_EQ(controller.remoteFiles().contentAsArray()[1], answers.replacement);
    EXPECT_FALSE(controller.remoteFiles().content().contains(*replaced));

    harness.defaults.setForThisRun("AutoStartAfterAdd", true);
    answers.replacement = make("found"); // is there already
    addPage("duplicate");
    EXPECT_EQ(controller.runState(), QueueRunState::running);
    ASSERT_TRUE(turnUntil([&] { return !answers.errors.empty(); }));
    EXPECT_EQ(answers.errors[0].code, kTarvoDuplicateEntry);

    answers.reason = BrowserEndReason::movedOut;
    const auto moved = addPage("moved");
    ASSERT_TRUE(turnUntil([&] { return !controller.remoteFiles().content().contains(*moved); }));
}

TEST_F(QueueControllerTest, DataIsRemovedOnlyAfterTheQuestion) {
    std::atomic<int> removed{0};
    for (const auto* name : {"a", "b"}) {
        add(name)->remove = [&removed, name]() -> std::optional<Error> {
            ++removed;
            return Error::posix(EACCES, "remove", name);
        };
    }
    select({0, 1});
    answers.button = 1;
    controller.removeSelectedWithData();
    EXPECT_EQ(answers.alerts, "Remove Data?");
    EXPECT_EQ(controller.remoteFiles().content().size(), 2u);
    answers.button = 0;
    controller.removeSelectedWithData();
    EXPECT_EQ(controller.remoteFiles().content().size(), 0u);
    ASSERT_TRUE(turnUntil([&] { return !answers.errors.empty(); }));
    EXPECT_EQ(removed, 2);
    ASSERT_EQ(answers.errors.size(), 1u); // the last one
    EXPECT_NE(answers.errors[0].description.find("b"), std::string::npos);
}

TEST_F(QueueControllerTest, QuittingSavesWhatRunsAndStartsNothingMore) {
    concurrency(2);
    const auto a = add("a");
    const auto b = add("b");
    const auto c = add("c");
    controller.toggleAutorun();
    ASSERT_TRUE(comesTo(b, rf_state_running) && comesTo(c, rf_state_ready));
    std::vector<bool> saved;
    QObject::connect(&controller, &QueueController::suspended,
                     [&](const std::shared_ptr<RemoteFile>&, bool well) { saved.push_back(well); });
    b->save = [] { return failure(Error::posix(ENOSPC, "write", "x")); };
    controller.quit();
    EXPECT_EQ(a->currentState(), rf_state_paused);
    ASSERT_TRUE(turnUntil([&] { return saved.size() == 2; }));
    EXPECT_EQ(saved, (std::vector<bool>{true, false}));
    add("d");
    turn();
    EXPECT_EQ(c->attemptNumber, 0u);
    EXPECT_EQ(controller.remoteFiles().jobsInState(rf_state_initializing), 1u);
}

TEST_F(QueueControllerTest, TenThousandJobsCostNextToNothing) {
    std::vector<std::shared_ptr<RemoteFile>> jobs;
    for (int i = 0; i < 10'000; ++i) {
        const auto job = make(std::to_string(i));
        job->setCurrentState(rf_state_ready);
        jobs.push_back(job);
    }
    std::atomic<int> seen{0};
    const auto last = make("last");
    last->makeReady = [&](const auto&) {
        ++seen;
        return Result<void>();
    };
    jobs.push_back(last);
    ASSERT_TRUE(controller.addDownloads(jobs));
    controller.toggleAutorun();
    ASSERT_TRUE(turnUntil([&] { return seen == 1 && jobs[0]->currentState() == rf_state_running; }));
    EXPECT_EQ(controller.remoteFiles().runningJobs(), 1u);
    controller.toggleAutorun();
    EXPECT_EQ(jobs[0]->currentState(), rf_state_paused);
    controller.remoteFiles().removeRemoteFiles(jobs);
    EXPECT_EQ(controller.remoteFiles().content().size(), 0u);
}

} // namespace tarvo::test
