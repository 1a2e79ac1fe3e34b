// What the queue's state brings about outside the list: notices, a computer kept awake, the program's end.
#include "queue/AutomaticTerminationUpdater.h"
#include "queue/LauncherStatusFeeder.h"
#include "queue/QuitAndSleepManager.h"
#include "queue/StatsBroadcaster.h"
#include "queue/UserNotifier.h"

#include "queue/QueueFixture.h"

namespace tarvo::test {

namespace {

class RecordedNotices final : public UserNotices {
public:
    void deliver(const UserNotice& notice) override { notices.push_back(notice); }

    std::vector<UserNotice> notices;
};

/// Writes down what is asked of it; the numbers of requests count up from 1.
class RecordedInhibitor final : public SleepInhibitor {
public:
    std::uint32_t inhibit(const std::string& reason, std::function<void(int)> outcome) override {
        steps.push_back("inhibit: " + reason);
        if (refuses)
            outcome(EACCES);
        return ++m_last;
    }

    void release(std::uint32_t id) override { steps.push_back("release " + std::to_string(id)); }

    std::vector<std::string> steps;
    bool refuses = false;

private:
    std::uint32_t m_last = 0;
};

class RecordedTermination final : public AutomaticTermination {
public:
    void enableAutomaticTermination(const std::string& reason) override {
        steps.push_back("enable " + reason);
    }

    void disableAutomaticTermination(const std::string& reason) override {
        steps.push_back("disable " + reason);
    }

    std::vector<std::string> steps;
};

class RecordedBadge final : public LauncherBadge {
public:
    void show(const LauncherStatus& status) override { shown.push_back(status); }

    std::vector<LauncherStatus> shown;
};

const std::string kInhibit = "inhibit: Tarvo is downloading a file. Pause to enable sleep.";

} // namespace

class UserNotifierTest : public QueueFixture {
protected:
    /// The text of the notice that a completion brings.
    std::string textOfCompletion() {
        complete();
        EXPECT_FALSE(notices.notices.empty());
        EXPECT_EQ(notices.notices.back().title, "All Downloads Finished");
        EXPECT_TRUE(notices.notices.back().playsSound);
        return notices.notices.back().informativeText;
    }

    RecordedNotices notices;
    UserNotifier notifier{queue, notifications, notices};
};

TEST_F(UserNotifierTest, NamesTheOneNewFileAndCountsSeveral) {
    const auto first = add("one.zip", rf_state_succeeded);
    EXPECT_EQ(textOfCompletion(), "Tarvo downloaded one.zip");
    EXPECT_EQ(textOfCompletion(), "Tarvo downloaded 0 files");
    for (const char* name : {"a", "b", "c"})
        add(name, rf_state_succeeded);
    EXPECT_EQ(textOfCompletion(), "Tarvo downloaded 3 files");
    queue.removeRemoteFile(first);
    add("one.zip", rf_state_succeeded); // announced before
    add("two.zip", rf_state_succeeded);
    EXPECT_EQ(textOfCompletion(), "Tarvo downloaded two.zip");
    EXPECT_EQ(notices.notices.size(), 4u);
}

TEST_F(UserNotifierTest, OnlyWhatHasSucceededIsAnnouncedForGood) {
    add("stopped", rf_state_stopped);
    add("a", rf_state_succeeded);
    EXPECT_EQ(textOfCompletion(), "Tarvo downloaded 2 files");
    EXPECT_EQ(textOfCompletion(), "Tarvo downloaded stopped");
}

TEST(QuitAndSleepManager, OneRequestSpansAStretchOfDownloads) {
    RecordedInhibitor inhibitor;
    {
        QuitAndSleepManager manager(inhibitor);
        for (const std::size_t running : {0, 2, 3, 1, 0, 0})
            manager.setActiveDownloads(running);
        EXPECT_EQ(inhibitor.steps, (std::vector<std::string>{kInhibit, "release 1"}));
        manager.enableSleep(); // nothing to release
        manager.setActiveDownloads(1);
        EXPECT_EQ(inhibitor.steps.size(), 3u);
    }
    EXPECT_EQ(inhibitor.steps.back(), "release 2"); // with the manager's end
    EXPECT_EQ(inhibitor.steps.size(), 4u);
}

TEST(QuitAndSleepManager, LosesNoRequestAndAsksNotAgainWhenRefused) {
    RecordedInhibitor inhibitor;
    inhibitor.refuses = true;
    QuitAndSleepManager manager(inhibitor);
    manager.setActiveDownloads(1);
    manager.setActiveDownloads(2);
    EXPECT_EQ(inhibitor.steps.size(), 1u);
    manager.disableSleep();
    EXPECT_EQ(inhibitor.steps, (std::vector<std::string>{kInhibit, "release 1", kInhibit}));
    manager.setActiveDownloads(0);
    EXPECT_EQ(inhibitor.steps.back(), "release 2");
}

class AutomaticTerminationUpdaterTest : public QueueFixture {};

TEST_F(AutomaticTerminationUpdaterTest, MayBeEndedWhenAllHasFinishedBehindAHiddenWindowIfThatIsWanted) {
    bool visible = true;
    RecordedTermination termination;
    AutomaticTerminationUpdater updater([&] { return visible; }, queue, harness.defaults, termination);
    const auto mayEnd = [&] {
        updater.updateAutomaticTerminationStatus();
        return updater.canBeAutomaticallyTerminated();
    };
    EXPECT_FALSE(mayEnd());
    visible = false;
    EXPECT_FALSE(mayEnd()); // not wanted
    harness.defaults.set("AutoQuitWhenTransfersComplete", true);
    EXPECT_TRUE(mayEnd()); // nor is there anything to wait for
    EXPECT_TRUE(mayEnd());
    EXPECT_EQ(termination.steps, (std::vector<std::string>{"enable QueueWindowSuggestion"}));

    // From here on the queue's own changes are enough.
    add("a", rf_state_succeeded);
    const auto failed = add("b", rf_state_failed);
    EXPECT_FALSE(updater.canBeAutomaticallyTerminated());
    EXPECT_EQ(termination.steps.back(), "disable QueueWindowSuggestion");
    failed->setCurrentState(rf_state_succeeded);
    EXPECT_TRUE(updater.canBeAutomaticallyTerminated());
    visible = true;
    EXPECT_FALSE(mayEnd());
    EXPECT_EQ(termination.steps.size(), 4u);
}

class LauncherStatusFeederTest : public QueueFixture {
protected:
    LauncherStatusFeederTest() { harness.defaults.set("ShowDockProgress", true); }

    LauncherStatus afterBroadcast() {
        broadcaster.broadcastStats();
        return badge.shown.empty() ? LauncherStatus() : badge.shown.back();
    }

    static LauncherStatus status(std::optional<double> progress, std::optional<std::int64_t> number = {}) {
        return {progress, number};
    }

    RecordedBadge badge;
    LauncherStatusFeeder feeder{queue, notifications, harness.defaults, badge};
    StatsBroadcaster broadcaster{queue, notifications};
};

TEST_F(LauncherStatusFeederTest, ShowsWholePercentsOfWhatIsUnderwayAndOnlyWhatChanges) {
    afterBroadcast();
    EXPECT_TRUE(badge.shown.empty());
    const auto job = add("a", rf_state_running, 10'000, 2900, 5000);
    EXPECT_EQ(afterBroadcast(), status(0.29));
    job->done = 2999;
    EXPECT_EQ(afterBroadcast(), status(0.29));
    EXPECT_EQ(badge.shown.size(), 1u);
    job->done = 9999;
    EXPECT_EQ(afterBroadcast(), status(0.99)); // full only when it is
    job->done = 10'001;
    EXPECT_EQ(afterBroadcast(), status(1.0));
    job->setFileSize(-1);
    EXPECT_EQ(afterBroadcast(), status(std::nullopt));
}

TEST_F(LauncherStatusFeederTest, FollowsTheSettings) {
    const auto job = add("a", rf_state_running, 100, 50, 5000);
    harness.defaults.set("ShowDockSpeed", true);
    EXPECT_EQ(afterBroadcast(), status(0.5, 5));
    harness.defaults.set("ShowDockProgress", false);
    EXPECT_EQ(afterBroadcast(), status(std::nullopt, 5));
    job->speed = 511;
    EXPECT_EQ(afterBroadcast(), status(std::nullopt));
}

TEST_F(LauncherStatusFeederTest, StaysOverTheChangeFromOneJobToTheNextAndGoesWhenNothingFollows) {
    const auto first = add("a", rf_state_running, 100, 50);
    const auto second = add("b", rf_state_ready, 100, 0);
    EXPECT_EQ(afterBroadcast(), status(0.25));
    first->done = 100;
    first->setCurrentState(rf_state_succeeded);
    EXPECT_EQ(afterBroadcast(), status(0.5)); // the second has not yet begun
    second->setCurrentState(rf_state_running);
    EXPECT_EQ(afterBroadcast(), status(0.5));
    second->setCurrentState(rf_state_ready);
    for (int each = 0; each < LauncherStatusFeeder::kGrace; ++each)
        EXPECT_EQ(afterBroadcast(), status(0.5));
    EXPECT_EQ(afterBroadcast(), status(std::nullopt)); // it waits for the user
    second->setCurrentState(rf_state_running);
    EXPECT_EQ(afterBroadcast(), status(0.5));
    second->setCurrentState(rf_state_succeeded);
    EXPECT_EQ(afterBroadcast(), status(std::nullopt));
}

} // namespace tarvo::test
