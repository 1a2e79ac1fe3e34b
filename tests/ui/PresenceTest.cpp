// The window's life between tray, task bar and the program's end.
#include "ui/Presence.h"

#include <QApplication>
#include <QCloseEvent>
#include <QPushButton>
#include <QTest>
#include <gtest/gtest.h>

#include "base/SettingKeys.h"
#include "support/JobHarness.h"
#include "support/PrivateBus.h"
#include "support/ScriptedJob.h"
#include "support/UnattendedQueue.h"
#include "ui/AlertDialogs.h"
#include "ui/SessionEnd.h"
#include "ui/WindowClosing.h"

namespace tarvo::test {
namespace {

using namespace std::chrono_literals;

/// Plays the desktop's part of the tray.
class TrayHost final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ isRegistered)

public:
    bool isRegistered() const { return hasHost; }

    void comeTo(PrivateBus& bus) {
        bus.connection().registerObject("/StatusNotifierWatcher", this, QDBusConnection::ExportAllProperties);
        ASSERT_TRUE(bus.connection().registerService("org.kde.StatusNotifierWatcher"));
    }

    static void leave(PrivateBus& bus) {
        bus.connection().unregisterService("org.kde.StatusNotifierWatcher");
    }

    bool hasHost = true;
};

class Notices final : public UserNotices {
public:
    void deliver(const UserNotice& notice) override { delivered.push_back(notice); }

    std::vector<UserNotice> delivered;
};

class PresenceTest : public ::testing::Test {
protected:
    /// As the user does it, by way of the window manager.
    bool close() {
        QCloseEvent event;
        QSpontaneKeyEvent::setSpontaneous(&event);
        qApp->notify(&window, &event);
        return event.isAccepted();
    }

    JobHarness harness;
    UnattendedQueue queue{harness.environment, nullptr, 1s};
    AlertDialogs alerts;
    const WindowEnvironment environment{queue.controller, harness.environment, harness.defaults, alerts, "/"};
    QueueWindow window{environment};
    Notices notices;
};

} // namespace

TEST_F(PresenceTest, TheIconComesAndGoesWithTheTrayAndTheWindowIsNeverLost) {
    PrivateBus bus;
    bus.start();
    DesktopBus desktop(bus.address());
    Presence presence(desktop);
    QObject::connect(&presence, &Presence::windowWanted, &window, &QWidget::show);
    presence.showStatusItem();
    presence.attach(window, queue.controller);
    window.show();
    TrayHost host;
    host.hasHost = false;
    host.comeTo(bus);
    EXPECT_FALSE(turnUntil([&] { return presence.isInTray(); }, 300ms)) << "a watcher without a host";
    TrayHost::leave(bus);
    host.hasHost = true;
    host.comeTo(bus);
    ASSERT_TRUE(turnUntil([&] { return presence.isInTray(); }));
    window.hide();
    TrayHost::leave(bus);
    ASSERT_TRUE(turnUntil([&] { return !presence.isInTray(); }));
    EXPECT_TRUE(turnUntil([&] { return window.isVisible(); }));
    host.comeTo(bus);
    ASSERT_TRUE(turnUntil([&] { return presence.isInTray(); }));
    presence.removeStatusItem(); // "Dock Only"
    EXPECT_FALSE(presence.isInTray());
}

TEST_F(PresenceTest, AWatcherThatDoesNotAnswerHoldsNothingUp) {
    PrivateBus bus;
    bus.start();
    TrayHost host;
    host.comeTo(bus);
    bus.freeze();
    EXPECT_LT(timeOf([&] {
                  DesktopBus desktop(bus.address());
                  Presence presence(desktop);
                  presence.showStatusItem();
                  presence.attach(window, queue.controller);
                  turnUntil([] { return false; }, 200ms);
                  EXPECT_FALSE(presence.isInTray());
              }),
              1s);
}

TEST_F(PresenceTest, ClosingGoesIntoTheTrayAndTellsOfItOnce) {
    WindowClosing closing(window, environment, notices, [] { return true; });
    window.show();
    EXPECT_FALSE(close());
    EXPECT_FALSE(window.isVisible());
    window.show();
    EXPECT_FALSE(close());
    ASSERT_EQ(notices.delivered.size(), 1U);
    std::string token;
    QObject::connect(&closing, &WindowClosing::windowWanted, &window,
                     [&](const std::string& given) { token = given; });
    notices.delivered[0].buttons.at(0).pressed("t1");
    EXPECT_EQ(token, "t1");
}

TEST_F(PresenceTest, ClosingWithoutATrayAsksOnceAndTheQuestionEndsWithTheProgram) {
    WindowClosing closing(window, environment, notices, [] { return false; });
    const SessionEnd end(queue.controller, nullptr);
    harness.defaults.registerDefaults({{std::string(SettingKey::kClosingMeans), "Ask"}});
    auto job = ScriptedJob::create(harness.environment, "http://127.0.0.1/a", rf_state_running);
    ASSERT_TRUE(queue.controller.remoteFiles().addRemoteFile(job));
    const auto question = [this] { return window.findChild<QMessageBox*>(); };
    window.show();
    EXPECT_FALSE(close());
    ASSERT_TRUE(question());
    EXPECT_TRUE(window.isVisible());
    question()->escapeButton()->click();
    EXPECT_TRUE(turnUntil([&] { return !question(); }));
    EXPECT_FALSE(close());
    for (auto* button : question()->buttons()) {
        if (question()->buttonRole(button) == QMessageBox::AcceptRole)
            button->click();
    }
    EXPECT_FALSE(window.isVisible());
    EXPECT_EQ(harness.defaults.string(SettingKey::kClosingMeans), "Background");
    EXPECT_EQ(notices.delivered.size(), 1U);
    harness.defaults.set(SettingKey::kClosingMeans, "Ask");
    window.show();
    close();
    ASSERT_TRUE(question());
    int endings = 0;
    QObject::connect(&queue.controller, &QueueController::ending, &window, [&] { ++endings; });
    queue.controller.quit();
    queue.controller.quit();
    EXPECT_EQ(endings, 1);
    EXPECT_TRUE(turnUntil([&] { return !question() && queue.controller.hasEnded(); }));
}

} // namespace tarvo::test

#include "PresenceTest.moc"
