// What the queue's state brings about outside the list: notices, a computer kept awake, the program's end.
#include "base/SettingKeys.h"
#include "queue/AutomaticTerminationUpdater.h"
#include "queue/LauncherStatusFeeder.h"
#include "queue/QuitAndSleepManager.h"
#include "queue/StatsBroadcaster.h"
#include "queue/UserNotifier.h"

#include "queue/QueueFixture.h"

namespace tarvo::test {

/// Stands for the desktop, and writes down what is asked of it.
class QueueCompanionsTest : public QueueFixture,
                            private UserNotices,
                            private SleepInhibitor,
                            private AutomaticTermination,
                            private LauncherBadge {
protected:
    void deliver(const UserNotice& notice) override { steps.push_back(notice.informativeText); }

    std::uint32_t inhibit(const std::string&, std::function<void(int)> outcome) override {
        steps.emplace_back("inhibit");
        outcome(EACCES); // refused, which is no reason to ask again
        return 7;
    }

    void release(std::uint32_t id) override { steps.push_back("release " + std::to_string(id)); }

    void enableAutomaticTermination(const std::string&) override { steps.emplace_back("enable"); }

    void disableAutomaticTermination(const std::string&) override { steps.emplace_back("disable"); }

    void show(const LauncherStatus& status) override {
        shown = status;
        steps.emplace_back("badge");
    }

    UserNotices& notices() { return *this; }

    SleepInhibitor& inhibitor() { return *this; }

    AutomaticTermination& termination() { return *this; }

    LauncherBadge& badge() { return *this; }

    std::vector<std::string> steps;
    LauncherStatus shown;
};

TEST_F(QueueCompanionsTest, ANoticeNamesTheOneNewFileAndCountsSeveral) {
    const UserNotifier notifier(queue, notifications, notices());
    const auto textOfCompletion = [this] {
        complete();
        return steps.empty() ? "" : steps.back();
    };
    const auto finish = [this](const char* name) {
        const auto job = add(name, rf_state_running);
        job->setCurrentState(rf_state_succeeded);
        return job;
    };
    const auto first = finish("one.zip");
    add("stopped", rf_state_stopped);
    EXPECT_EQ(textOfCompletion(), "Tarvo downloaded one.zip");
    queue.removeRemoteFile(first);
    finish("a");
    queue.removeRemoteFile(finish("b")); // its row has left before the notice
    finish("one.zip");                   // once more
    EXPECT_EQ(textOfCompletion(), "Tarvo downloaded 3 files");
    complete();
    EXPECT_EQ(steps.size(), 2u) << "nothing new, no notice";
}

TEST_F(QueueCompanionsTest, OneLockKeepsTheComputerAwakeForAStretchOfDownloads) {
    {
        QuitAndSleepManager manager(inhibitor());
        for (const std::size_t running : {0, 2, 3, 1, 0, 0})
            manager.setActiveDownloads(running);
        EXPECT_EQ(steps, (std::vector<std::string>{"inhibit", "release 7"}));
        manager.setActiveDownloads(1);
    }
    EXPECT_EQ(steps.size(), 4u);
    EXPECT_EQ(steps.back(), "release 7"); // with the manager's end
}

TEST_F(QueueCompanionsTest, TheProgramMayEndWhenAllHasFinishedBehindAHiddenWindowIfThatIsWanted) {
    bool visible = true;
    AutomaticTerminationUpdater updater([&] { return visible; }, queue, harness.defaults, termination());
    const auto mayEnd = [&] {
        updater.updateAutomaticTerminationStatus();
        return updater.canBeAutomaticallyTerminated();
    };
    EXPECT_FALSE(mayEnd());
    visible = false;
    EXPECT_FALSE(mayEnd()); // not wanted
    harness.defaults.set(SettingKey::kAutoQuitWhenTransfersComplete, true);
    EXPECT_TRUE(mayEnd() && mayEnd());
    // From here on the queue's own changes are enough.
    const auto failed = add("a", rf_state_failed);
    EXPECT_FALSE(updater.canBeAutomaticallyTerminated());
    failed->setCurrentState(rf_state_succeeded);
    EXPECT_TRUE(updater.canBeAutomaticallyTerminated());
    EXPECT_EQ(steps, (std::vector<std::string>{"enable", "disable", "enable"}));
}

TEST_F(QueueCompanionsTest, TheLauncherShowsWholePercentsAndOnlyWhatChanges) {
    harness.defaults.set(SettingKey::kShowDockProgress, true);
    const LauncherStatusFeeder feeder(queue, notifications, harness.defaults, badge());
    StatsBroadcaster broadcaster(queue, notifications);
    broadcaster.broadcastStats();
    EXPECT_TRUE(steps.empty());
    const auto job = add("a", rf_state_running, 10'000, 0, 5000);
    const std::pair<std::int64_t, double> progress[] = {
        {2900, 0.29}, {2999, 0.29}, {9999, 0.99}, {10'001, 1.0}}; // full only when it is
    for (const auto& [done, fraction] : progress) {
        job->done = done;
        broadcaster.broadcastStats();
        EXPECT_EQ(shown, (LauncherStatus{fraction, std::nullopt})) << done;
    }
    EXPECT_EQ(steps.size(), 3u);
    harness.defaults.set(SettingKey::kShowDockSpeed, true);
    harness.defaults.set(SettingKey::kShowDockProgress, false);
    broadcaster.broadcastStats();
    EXPECT_EQ(shown, (LauncherStatus{std::nullopt, 5}));
    job->setCurrentState(rf_state_ready); // perhaps only the change to the next job
    job->speed = 0;
    harness.defaults.set(SettingKey::kShowDockProgress, true);
    for (int each = 0; each < LauncherStatusFeeder::kGrace; ++each)
        broadcaster.broadcastStats();
    EXPECT_EQ(shown, (LauncherStatus{1.0, std::nullopt}));
    broadcaster.broadcastStats();
    EXPECT_EQ(shown, LauncherStatus()) << "it waits for the user";
}

} // namespace tarvo::test
