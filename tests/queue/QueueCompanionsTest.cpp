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
                            protected UserNotices,
                            protected SleepInhibitor,
                            protected AutomaticTermination,
                            protected LauncherBadge {
protected:
    void deliver(const UserNotice& notice) override {
        steps.push_back(notice.informativeText);
        for (const auto& button : notice.buttons)
            button.pressed({});
    }

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
        ++shows;
    }

    std::vector<std::string> steps;
    LauncherStatus shown;
    int shows = 0;
};

TEST_F(QueueCompanionsTest, ANoticeNamesTheOneNewFileAndCountsSeveral) {
    const UserNotifier notifier(
        queue, notifications, *this,
        {[this](const auto& files) { steps.push_back("open " + std::to_string(files.size())); },
         [this](const auto& files) { steps.push_back("show " + std::to_string(files.size())); }});
    const auto finish = [this](const char* name) {
        const auto job = add(name, rf_state_running);
        job->finalFile = std::string("/files/") + name;
        job->setCurrentState(rf_state_succeeded);
        queue.removeRemoteFile(job); // its row has left before the notice
    };
    finish("one.zip");
    complete();
    finish("a");
    finish("one.zip"); // once more
    complete();
    complete();
    EXPECT_EQ(steps, (std::vector<std::string>{"Tarvo downloaded one.zip", "open 1", "show 1",
                                               "Tarvo downloaded 2 files", "show 2"}));
}

TEST_F(QueueCompanionsTest, OneLockKeepsTheComputerAwakeForAStretchOfDownloads) {
    {
        QuitAndSleepManager manager(*this);
        for (const std::size_t running : {0, 2, 3, 1, 0, 0, 1})
            manager.setActiveDownloads(running);
    }
    EXPECT_EQ(steps, (std::vector<std::string>{"inhibit", "release 7", "inhibit", "release 7"}));
}

TEST_F(QueueCompanionsTest, TheProgramMayEndWhenAllHasFinishedBehindAHiddenWindowIfThatIsWanted) {
    bool visible = false;
    AutomaticTerminationUpdater updater([&] { return visible; }, queue, harness.defaults, *this);
    updater.updateAutomaticTerminationStatus();
    EXPECT_TRUE(steps.empty()) << "it is not wanted";
    harness.defaults.set(SettingKey::kAutoQuitWhenTransfersComplete, true);
    updater.updateAutomaticTerminationStatus();
    updater.updateAutomaticTerminationStatus();
    // From here on the queue's own changes are enough.
    const auto failed = add("a", rf_state_failed);
    failed->setCurrentState(rf_state_succeeded);
    visible = true;
    updater.updateAutomaticTerminationStatus();
    EXPECT_EQ(steps, (std::vector<std::string>{"enable", "disable", "enable", "disable"}));
}

TEST_F(QueueCompanionsTest, TheLauncherShowsWholePercentsAndOnlyWhatChanges) {
    harness.defaults.set(SettingKey::kShowDockProgress, true);
    const LauncherStatusFeeder feeder(queue, notifications, harness.defaults, *this);
    StatsBroadcaster broadcaster(queue, notifications);
    const auto job = add("a", rf_state_running, 10'000, 0, 5000);
    const std::pair<std::int64_t, double> progress[] = {{2900, 0.29}, {2999, 0.29}, {9999, 0.99}};
    for (const auto& [done, fraction] : progress) {
        job->done = done;
        broadcaster.broadcastStats();
        EXPECT_EQ(shown, (LauncherStatus{fraction, std::nullopt})) << done;
    }
    EXPECT_EQ(shows, 2);
    harness.defaults.set(SettingKey::kShowDockSpeed, true);
    broadcaster.broadcastStats();
    EXPECT_EQ(shown, (LauncherStatus{0.99, 5}));
    job->setCurrentState(rf_state_ready); // perhaps only the change to the next job
    job->speed = 0;
    for (int each = 0; each < LauncherStatusFeeder::kGrace; ++each)
        broadcaster.broadcastStats();
    EXPECT_EQ(shown, (LauncherStatus{0.99, std::nullopt}));
    broadcaster.broadcastStats();
    EXPECT_EQ(shown, LauncherStatus()) << "it waits for the user";
}

} // namespace tarvo::test
