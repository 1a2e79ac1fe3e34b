// When the queue prepares, starts, holds back and tries again, and what its commands do to it.
#include "base/SettingKeys.h"
#include "queue/QueueNotifications.h"
#include "support/FakeClock.h"
#include "support/FaultServer.h"
#include "support/JobHarness.h"
#include "support/SampleData.h"
#include "support/ScriptedJob.h"
#include "support/Text.h"
#include "support/UnattendedQueue.h"

#include <QEventLoop>
#include <QTimer>
#include <gtest/gtest.h>

namespace tarvo::test {

namespace {

using namespace std::chrono_literals;

/// A queue whose questions are answered from a script.
class AttendedQueue final : public UnattendedQueue {
public:
    using UnattendedQueue::UnattendedQueue;

    BrowserEndReason openBrowserFor(const std::shared_ptr<RemoteFile>&,
                                    std::shared_ptr<RemoteFile>& found) override {
        ++pagesOpened;
        while (pagesStayOpen)
            std::this_thread::sleep_for(1ms);
        found = replacement;
        return reason;
    }

    void closePages() override { pagesStayOpen = false; }

    void presentError(const Error& error) override { errors.push_back(error); }

    std::size_t runAlert(const std::string&, const std::string& text,
                         const std::vector<std::string>&) override {
        asked = text;
        return button;
    }

    std::optional<AuthenticationAnswer> promptAuthentication(const AuthenticationQuestion& wanted) override {
        ++prompts;
        askedFor = wanted.service;
        if (whileAsked) {
            QTimer::singleShot(0, &question, whileAsked);
            QTimer::singleShot(10s, &question, &QEventLoop::quit); // a test that fails ends, too
            question.exec();
        }
        return prompts <= answersGiven ? std::optional(AuthenticationAnswer{"bob", "secret", false})
                                       : std::nullopt;
    }

    void cancelPrompt() override { question.quit(); }

    std::function<void()> whileAsked; ///< with it, questions stay open until they are cancelled
    std::atomic<bool> pagesStayOpen{false};
    QEventLoop question;
    BrowserEndReason reason = BrowserEndReason::cancelled;
    std::shared_ptr<RemoteFile> replacement;
    std::atomic<int> pagesOpened{0};
    std::vector<Error> errors;
    std::size_t button = 0;
    std::string asked;
    int answersGiven = 0;
    int prompts = 0;
    std::string askedFor;
};

Error jobError(RemoteFileError code) {
    return {std::string(ErrorDomain::RemoteFile), code, "", ""};
}

} // namespace

class QueueControllerTest : public ::testing::Test {
protected:
    QueueControllerTest() {
        concurrency(1);
        QObject::connect(&controller, &QueueController::ended, [this] { ended = true; });
        completed = queue.notifications.observe(kQueueWindowCompletedAllDownloads,
                                                [this](const Notification&) { ++completions; });
    }

    ~QueueControllerTest() override {
        gateIsOpen = true;
        controller.quit();
        EXPECT_TRUE(turnUntil([&] { return ended; }));
    }

    void concurrency(int count) { harness.defaults.setForThisRun(SettingKey::kDefaultConcurrency, count); }

    static Result<void> waitFor(const std::atomic<bool>& isOpen) {
        while (!isOpen)
            std::this_thread::sleep_for(1ms);
        return {};
    }

    /// A job that is ready at once and runs until the gate is opened.
    std::shared_ptr<ScriptedJob> make(const std::string& name) {
        auto job = ScriptedJob::create(environment, "http://127.0.0.1/" + name);
        job->download = [this] { return waitFor(gateIsOpen); };
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

    std::vector<std::shared_ptr<RemoteFile>> rows(const std::vector<int>& numbers) {
        std::vector<std::shared_ptr<RemoteFile>> jobs;
        for (const int row : numbers)
            jobs.push_back(controller.remoteFiles().jobAt(row));
        return jobs;
    }

    JobHarness harness;
    FakeClock clock;
    JobEnvironment environment{harness.defaults, harness.disk, clock, harness.transfers, harness.savingQueue};
    std::atomic<bool> gateIsOpen{false};
    std::atomic<bool> secondGateIsOpen{false};
    AttendedQueue queue{environment, &harness.defaults, kRetryDelay};
    QueueController& controller = queue.controller;
    NotificationCenter::Observation completed;
    int completions = 0;
    bool ended = false;
};

TEST_F(QueueControllerTest, StartsAsManyAsWantedInTheirOrderAndTheNextAtOnce) {
    concurrency(2);
    std::vector<std::shared_ptr<ScriptedJob>> jobs;
    for (const auto* name : {"a", "b", "c", "d"})
        jobs.push_back(add(name));
    ASSERT_TRUE(comesTo(jobs[3], rf_state_ready));
    jobs[0]->download = [this] { return waitFor(secondGateIsOpen); };
    controller.toggleAutorun();
    ASSERT_TRUE(comesTo(jobs[1], rf_state_running));
    turn();
    EXPECT_EQ(controller.remoteFiles().runningJobs(), 2u);
    EXPECT_EQ(jobs[0]->attemptNumber, 1u); // however many passes there were
    secondGateIsOpen = true;
    ASSERT_TRUE(
        turnUntil([&] { return jobs[2]->currentState() == rf_state_running; }, 500ms)); // no tick later
    gateIsOpen = true;
    ASSERT_TRUE(turnUntil([&] { return completions > 0; }));
    turn();
    EXPECT_EQ(completions, 1);
}

TEST_F(QueueControllerTest, PreparationsSideBySideChangeNoOrderAndNoneWaitsForAQuestion) {
    const auto slow = make("slow");
    slow->makeReady = [this](const auto&) { return waitFor(secondGateIsOpen); };
    ASSERT_TRUE(controller.addDownloads({slow}));
    const auto next = add("next");
    controller.toggleAutorun();
    ASSERT_TRUE(comesTo(next, rf_state_ready)) << "beside the slow one";
    turn();
    EXPECT_EQ(next->currentState(), rf_state_ready) << "the only place is for the one ahead of it";
    secondGateIsOpen = true;
    ASSERT_TRUE(comesTo(slow, rf_state_running));
    turn();
    EXPECT_EQ(next->currentState(), rf_state_ready);

    // Two files of one server ask for the same: one answer is for both, and others are prepared meanwhile.
    std::shared_ptr<ScriptedJob> other;
    queue.answersGiven = 1;
    queue.whileAsked = [&] {
        other = add("other");
        EXPECT_TRUE(comesTo(other, rf_state_ready));
        queue.question.quit();
    };
    const auto asking = {add("asks"), add("asks-too")};
    for (const auto& job : asking) {
        job->makeReady = [](const auto& token) {
            return token ? Result<void>() : failure(jobError(kRemoteFileAuthenticationErrorCode));
        };
    }
    for (const auto& job : asking)
        EXPECT_TRUE(comesTo(job, rf_state_ready));
    EXPECT_EQ(queue.prompts, 1);
}

TEST_F(QueueControllerTest, WhatTheUserWantsOfOneJobHoldsAgainstTheQueue) {
    const auto a = add("a");
    const auto b = add("b");
    const auto c = add("c");
    ASSERT_TRUE(comesTo(c, rf_state_ready));
    controller.resume(rows({1, 2})); // more than the queue would run, and it does not even run
    ASSERT_TRUE(comesTo(b, rf_state_running) && comesTo(c, rf_state_running));
    turn();
    EXPECT_EQ(a->currentState(), rf_state_ready);
    EXPECT_EQ(controller.runState(), QueueRunState::waiting);

    controller.pause(rows({0, 1}));
    EXPECT_EQ(b->currentState(), rf_state_paused);
    concurrency(3);
    controller.toggleAutorun(); // releases everything
    ASSERT_TRUE(comesTo(a, rf_state_running) && comesTo(b, rf_state_running));
    controller.pause(rows({0}));
    turn();
    EXPECT_EQ(a->currentState(), rf_state_paused); // though there is a free place
    controller.toggleAutorun();
    EXPECT_EQ(controller.runState(), QueueRunState::paused);
    EXPECT_EQ(controller.remoteFiles().runningJobs(), 0u);
    turn();
    EXPECT_EQ(b->attemptNumber, 2u);
}

TEST_F(QueueControllerTest, AFailedJobKeepsTheQueueRunningWhileFinishedRowsLeaveIfThatIsWanted) {
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
    controller.remove(rows({0}));
    EXPECT_EQ(controller.runState(), QueueRunState::stopped);
    EXPECT_EQ(completions, 0) << "nothing has finished";

    harness.defaults.setForThisRun(SettingKey::kAutoClearCompleted, true);
    gateIsOpen = true;
    ASSERT_TRUE(controller.addDownloads({make("a"), bad->copy(), make("b")}));
    controller.toggleAutorun();
    ASSERT_TRUE(turnUntil([&] { return controller.remoteFiles().content().size() == 1; }, 5s));
    EXPECT_EQ(completions, 0);
    controller.remove(rows({0}));
    EXPECT_EQ(completions, 1) << "though no row of what has finished is left";
}

TEST_F(QueueControllerTest, ReloadingTheLastJobIsNotTheEndOfTheQueue) {
    const auto job = add("a");
    controller.toggleAutorun();
    ASSERT_TRUE(comesTo(job, rf_state_running));
    controller.reload(rows({0}));
    ASSERT_TRUE(turnUntil([&] { return controller.remoteFiles().contentAsArray()[0] != job; }, 5s));
    EXPECT_EQ(job->savesDone, 1);
    EXPECT_EQ(controller.runState(), QueueRunState::running);
    EXPECT_EQ(completions, 0);
    gateIsOpen = true;
    EXPECT_TRUE(turnUntil([&] { return completions == 1; }));
}

TEST_F(QueueControllerTest, OnlyWhatHasFinishedCompletesTheQueue) {
    controller.toggleAutorun(); // of nothing
    turn();
    EXPECT_EQ(completions, 0);
    concurrency(2);
    const auto a = add("a");
    const auto b = make("b");
    b->download = [this] { return waitFor(secondGateIsOpen); };
    ASSERT_TRUE(controller.addDownloads({b}));
    controller.toggleAutorun();
    gateIsOpen = true;
    ASSERT_TRUE(comesTo(a, rf_state_succeeded) && comesTo(b, rf_state_running));
    controller.quit(); // in the middle of the second
    secondGateIsOpen = true;
    ASSERT_TRUE(turnUntil([&] { return b->currentState() == rf_state_stopped; }));
    turn();
    EXPECT_EQ(completions, 0);
}

TEST_F(QueueControllerTest, AFinishedAddressIsFetchedAgainInItsRow) {
    gateIsOpen = true;
    add("a");
    add("b");
    controller.toggleAutorun();
    ASSERT_TRUE(turnUntil([&] { return controller.remoteFiles().succeededJobs() == 2; }));
    const auto again = add("a");
    EXPECT_EQ(controller.remoteFiles().contentAsArray()[0], again);
    EXPECT_EQ(controller.remoteFiles().content().size(), 2u);
    EXPECT_TRUE(comesTo(again, rf_state_ready));
}

TEST_F(QueueControllerTest, AnOpenQuestionEndsWithItsJobAndWithTheQueue) {
    harness.defaults.setForThisRun(SettingKey::kPreparationConcurrency,
                                   1); // so that it is known who asks first
    std::atomic<int> preparations{0};
    for (const auto* name : {"removed", "asks"}) {
        add(name)->makeReady = [&](const auto&) {
            ++preparations;
            return failure(jobError(kRemoteFileAuthenticationErrorCode));
        };
    }
    queue.answersGiven = 9; // an answer that comes when it is no longer wanted changes nothing
    queue.whileAsked = [this] {
        if (queue.prompts == 1)
            controller.remove(rows({0}));
        else
            controller.quit();
    };
    EXPECT_TRUE(turnUntil([&] { return ended; }, 5s));
    EXPECT_EQ(queue.prompts, 2);
    EXPECT_EQ(preparations, 2);
}

TEST_F(QueueControllerTest, CredentialsAreForTheServerThatAsksWhereverTheAddressLedTo) {
    const FaultServer first;
    const FaultServer second;
    const std::string target = second.url(100'000, "auth=basic", "target.bin");
    const auto job = harness.job(first.url(100'000, "to=" + knobValue(target)));
    queue.answersGiven = 1;
    ASSERT_TRUE(controller.addDownloads({job}));
    controller.toggleAutorun();
    EXPECT_TRUE(comesTo(job, rf_state_succeeded));
    EXPECT_EQ(queue.askedFor, second.proxyUrl());
    EXPECT_EQ(fileIsSample(harness.folder.path("target.bin"), 100'000), "");
    controller.reload(rows({0})); // what has been answered is remembered
    controller.toggleAutorun();
    EXPECT_TRUE(turnUntil([&] { return controller.remoteFiles().succeededJobs() == 1; }));
    EXPECT_NE(controller.remoteFiles().contentAsArray()[0], job);
    EXPECT_EQ(queue.prompts, 1);
    for (const auto& request : first.requests())
        EXPECT_EQ(request.header("authorization"), "");
}

TEST_F(QueueControllerTest, APageIsFollowedToWhereTheUserGoesAndClosedWithTheQueue) {
    const auto addPage = [this](const std::string& name) {
        const auto job = add(name);
        job->makeReady = [](const auto&) { return failure(jobError(HTMLPageErrorCode)); };
        return job;
    };
    const auto isThere = [this](const auto& job) {
        return controller.remoteFiles().content().contains(*job);
    };
    queue.reason = BrowserEndReason::download;
    queue.replacement = make("found");
    const auto replaced = addPage("replaced");
    add("after");
    ASSERT_TRUE(turnUntil([&] { return isThere(queue.replacement); }));
    EXPECT_EQ(controller.remoteFiles().contentAsArray()[0], queue.replacement);
    EXPECT_FALSE(isThere(replaced));

    queue.replacement = make("found"); // is there already
    addPage("duplicate");
    ASSERT_TRUE(turnUntil([&] { return !queue.errors.empty(); }));
    EXPECT_EQ(queue.errors[0].code, kTarvoDuplicateEntry);

    queue.reason = BrowserEndReason::movedOut;
    const auto moved = addPage("moved");
    ASSERT_TRUE(turnUntil([&] { return !isThere(moved); }));

    queue.pagesStayOpen = true; // until the end, which waits for it
    addPage("open");
    ASSERT_TRUE(turnUntil([&] { return queue.pagesOpened == 4; }));
}

TEST_F(QueueControllerTest, DataIsRemovedOnlyAfterTheQuestion) {
    std::atomic<int> removed{0};
    for (const auto* name : {"a", "b"}) {
        add(name)->remove = [&removed, name]() -> std::optional<Error> {
            ++removed;
            return Error::posix(EACCES, "remove", name);
        };
    }
    queue.button = 1;
    controller.removeWithData(rows({0, 1}));
    EXPECT_EQ(queue.asked, "Existing data will be removed. This cannot be undone.\n\n"
                           "This deletes 2 downloads from the disk:\n• a\n• b");
    EXPECT_EQ(controller.remoteFiles().content().size(), 2u);
    queue.button = 0;
    controller.removeWithData(rows({0, 1}));
    EXPECT_EQ(controller.remoteFiles().content().size(), 0u);
    ASSERT_TRUE(turnUntil([&] { return !queue.errors.empty(); }));
    EXPECT_EQ(removed, 2);
    EXPECT_EQ(queue.errors.size(), 1u); // the last one
    EXPECT_TRUE(has(queue.errors[0].description, "b"));
}

TEST_F(QueueControllerTest, QuittingSavesWhatRunsAndStartsNothingMore) {
    concurrency(2);
    const auto a = add("a");
    const auto b = add("b");
    const auto c = add("c");
    controller.toggleAutorun();
    ASSERT_TRUE(comesTo(a, rf_state_running) && comesTo(b, rf_state_running) && comesTo(c, rf_state_ready));
    std::vector<bool> saved;
    QObject::connect(&controller, &QueueController::suspended,
                     [&](const std::shared_ptr<RemoteFile>&, bool well) { saved.push_back(well); });
    b->save = [] { return failure(Error::posix(ENOSPC, "write", "x")); };
    controller.quit();
    EXPECT_EQ(a->currentState(), rf_state_paused);
    ASSERT_TRUE(turnUntil([&] { return saved.size() == 2; }));
    EXPECT_EQ(saved, (std::vector<bool>{true, false}));
    add("d");
    gateIsOpen = true;
    ASSERT_TRUE(turnUntil([&] { return ended; }));
    EXPECT_EQ(c->attemptNumber, 0u);
    EXPECT_EQ(controller.remoteFiles().jobsInState(rf_state_initializing), 1u);
    EXPECT_TRUE(has(UserDefaults(harness.folder.path("settings.conf"), harness.settingsDisk)
                        .data(SettingKey::kSavedQueueLinks),
                    "/d\""));
    EXPECT_FALSE(controller.addDownloads({make("e")})) << "it could not be kept any more";
}

TEST_F(QueueControllerTest, WhatIsAboutToBePreparedHoldsUpNoEnd) {
    std::atomic<bool> isStopped{false};
    QObject::connect(
        &controller.remoteFiles(), &RemoteFilesArrayController::jobStateChanged,
        [&](const auto&, rf_state_t, rf_state_t state) { isStopped = state == rf_state_stopped; });
    queue.passwords.answers = false;
    const auto job = make("silent");
    job->makeReady = [&](const auto&) { return waitFor(isStopped); };
    ASSERT_TRUE(controller.addDownloads({job}));
    ASSERT_TRUE(turnUntil([&] { return queue.passwords.lookedUp > 0; }));
    controller.quit();
    queue.passwords.answers = true;
    EXPECT_TRUE(turnUntil([&] { return ended; }));
    isStopped = true;
}

} // namespace tarvo::test
