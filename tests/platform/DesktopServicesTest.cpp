// What the desktop's services are asked, how they are taken back, and that no call waits where there are
// none.
#include "platform/DesktopNotices.h"
#include "platform/Login1SleepInhibitor.h"
#include "platform/UnityLauncherBadge.h"

#include "support/PrivateBus.h"
#include "support/Text.h"

#include <QDBusPendingReply>
#include <QDebug>
#include <cerrno>

namespace tarvo::test {

namespace {

using namespace std::chrono_literals;

/// Writes down the badge's signals.
class Launcher final : public QObject {
    Q_OBJECT

public:
    std::vector<QDBusMessage> updates;

public Q_SLOTS:

    void update(const QDBusMessage& message) { updates.push_back(message); }
};

class DesktopServicesTest : public ::testing::Test {
protected:
    void SetUp() override { bus.start(); }

    PrivateBus bus;
    DesktopBus desktop{bus.address()};
};

} // namespace

class Login1SleepInhibitorTest : public DesktopServicesTest {
protected:
    /// What the login manager lists: "what", "who", "why", "how" and two numbers of each lock.
    std::string locks() {
        QString list;
        QDebug(&list) << bus.call("org.freedesktop.login1", "/org/freedesktop/login1",
                                  "org.freedesktop.login1.Manager", "ListInhibitors");
        return list.toStdString();
    }

    /// Asks for a lock and waits for what comes of it.
    int outcomeOf(const std::string& reason) {
        std::optional<int> outcome;
        last = inhibitor.inhibit(reason, [&](int result) { outcome = result; });
        EXPECT_FALSE(outcome); // later
        EXPECT_TRUE(turnUntil([&] { return outcome.has_value(); }));
        return outcome.value_or(-1);
    }

    Login1SleepInhibitor inhibitor{desktop};
    std::uint32_t last = 0;
};

TEST_F(Login1SleepInhibitorTest, HoldsALockUntilItIsReleased) {
    bus.play("org.freedesktop.login1", {"--template", "logind"});
    inhibitor.release(inhibitor.inhibit("Early", [](int) { FAIL() << "released before it came"; }));
    EXPECT_EQ(outcomeOf("First"), 0); // answered after the early one
    const auto first = last;
    EXPECT_EQ(outcomeOf("More"), 0);
    EXPECT_TRUE(turnUntil([&] { return countOf(locks(), R"("idle:sleep", "Tarvo", )") == 2; }));
    inhibitor.release(first);
    EXPECT_TRUE(turnUntil([&] { return countOf(locks(), "Tarvo") == 1; }));
    EXPECT_TRUE(has(locks(), R"("More", "block")"));
    inhibitor.release(last);
    EXPECT_TRUE(turnUntil([&] { return countOf(locks(), "Tarvo") == 0; }));
}

TEST_F(Login1SleepInhibitorTest, WhoMayNotKeepTheComputerAwakeKeepsItFromBeingIdle) {
    bus.play("org.freedesktop.login1", {"--system", "org.freedesktop.login1", "/org/freedesktop/login1",
                                        "org.freedesktop.login1.Manager"});
    const auto allowOnly = [this](const QString& allowed) {
        bus.call("org.freedesktop.login1", "/org/freedesktop/login1", "org.freedesktop.DBus.Mock",
                 "AddMethod",
                 {"org.freedesktop.login1.Manager", "Inhibit", "ssss", "h",
                  QStringLiteral("import os\n"
                                 "if args[0] != '%1':\n"
                                 "    raise dbus.exceptions.DBusException('No.',"
                                 " name='org.freedesktop.DBus.Error.AccessDenied')\n"
                                 "ret = dbus.types.UnixFd(os.open('/dev/null', os.O_RDONLY))\n")
                      .arg(allowed)});
    };
    allowOnly("idle");
    EXPECT_EQ(outcomeOf("Downloading"), 0);
    allowOnly("nothing");
    EXPECT_EQ(outcomeOf("Downloading"), EACCES);
}

TEST_F(Login1SleepInhibitorTest, SaysWhatIsMissing) {
    EXPECT_EQ(outcomeOf("Nobody there"), ENOENT);
    bus.stop();
    EXPECT_EQ(outcomeOf("No bus"), ENOTCONN);
}

class DesktopNoticesTest : public DesktopServicesTest {
protected:
    /// What the notification service was asked to show, as soon as it was.
    QVariantList shown() {
        QList<std::pair<quint64, QVariantList>> calls;
        EXPECT_TRUE(turnUntil([&] {
            const auto answer = bus.call("org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                                         "org.freedesktop.DBus.Mock", "GetMethodCalls", {"Notify"});
            calls = qdbus_cast<decltype(calls)>(answer.arguments().value(0));
            return calls.size() == 1;
        }));
        return calls.value(0).second;
    }

    DesktopNotices notices{desktop};
};

TEST_F(DesktopNoticesTest, ShowsFileNamesAsTheyAreWhereMarkupIsRead) {
    bus.play("org.freedesktop.Notifications", {"--template", "notification_daemon"});
    notices.deliver({"This & that", "Tarvo downloaded <b>&amp;ä.zip", true});
    const auto arguments = shown();
    EXPECT_EQ(arguments.value(3), "This & that");
    EXPECT_EQ(arguments.value(4), "Tarvo downloaded &lt;b&gt;&amp;amp;ä.zip");
}

TEST_F(DesktopNoticesTest, AndWhereItIsNot) {
    bus.play("org.freedesktop.Notifications",
             {"--template", "notification_daemon", "--parameters", R"({"capabilities": "body"})"});
    notices.deliver({"Title", "<b>&amp;ä.zip", false});
    EXPECT_EQ(shown().value(4), "<b>&amp;ä.zip");
}

TEST_F(DesktopNoticesTest, AButtonIsPressedOnce) {
    bus.play("org.freedesktop.Notifications",
             {"--template", "notification_daemon", "--parameters", R"({"capabilities": "body actions"})"});
    std::vector<std::string> pressed;
    const auto press = [&](const std::string& token) { pressed.push_back(token); };
    notices.deliver(
        {"Title", "Text", false, {{"Open", [](const std::string&) { FAIL(); }}, {"Show", press}}});
    EXPECT_EQ(shown().value(5).toStringList(), (QStringList{"0", "Open", "1", "Show"}));
    const auto signal = [this](const char* name, const QVariantList& arguments, const char* types) {
        bus.call("org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                 "org.freedesktop.DBus.Mock", "EmitSignal",
                 {"org.freedesktop.Notifications", name, types, QVariant(arguments)});
    };
    signal("ActionInvoked", {7U, "1"}, "us"); // of another notice
    signal("ActionInvoked", {1U, "2"}, "us");
    signal("ActivationToken", {1U, "token"}, "us");
    signal("ActionInvoked", {1U, "1"}, "us");
    signal("ActionInvoked", {1U, "0"}, "us");
    EXPECT_TRUE(turnUntil([&] { return !pressed.empty(); }));
    turnUntil([] { return false; }, 50ms);
    EXPECT_EQ(pressed, std::vector<std::string>{"token"});
}

class UnityLauncherBadgeTest : public DesktopServicesTest {};

TEST_F(UnityLauncherBadgeTest, TellsEveryChangeAndWhoAsksLater) {
    Launcher launcher;
    ASSERT_TRUE(bus.connection().connect("", "", "com.canonical.Unity.LauncherEntry", "Update", &launcher,
                                         SLOT(update(QDBusMessage))));
    bus.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId"); // listening
    UnityLauncherBadge badge(desktop);
    badge.show({0.25, std::nullopt});
    badge.show({std::nullopt, 5'000'000'000});
    ASSERT_TRUE(turnUntil([&] { return launcher.updates.size() == 2; }));
    EXPECT_EQ(launcher.updates[0].arguments().value(0), "application://com.unregistered.Tarvo.desktop");
    const QVariantMap second{
        {"progress", 0.0}, {"progress-visible", false}, {"count", 5'000'000'000LL}, {"count-visible", true}};
    EXPECT_EQ(qdbus_cast<QVariantMap>(launcher.updates[1].arguments().value(1)), second);
    const QDBusPendingReply<QString, QVariantMap> status = bus.connection().asyncCall(
        QDBusMessage::createMethodCall(launcher.updates[0].service(), launcher.updates[0].path(),
                                       "com.canonical.Unity.LauncherEntry", "Query"));
    ASSERT_TRUE(turnUntil([&] { return status.isFinished(); }));
    EXPECT_EQ(status.argumentAt<1>(), second);
}

TEST(DesktopBus, NobodyWaitsForABusThatIsMissingEmptyOrHangs) {
    PrivateBus hanging;
    hanging.start();
    hanging.freeze();
    PrivateBus empty;
    empty.start();
    for (const std::string& address :
         {std::string(), empty.address() + "-of-nobody", empty.address(), hanging.address()}) {
        const auto took = timeOf([&] {
            DesktopBus desktop(address);
            DesktopNotices notices(desktop);
            Login1SleepInhibitor inhibitor(desktop);
            UnityLauncherBadge badge(desktop);
            for (int each = 0; each < 3; ++each) {
                notices.deliver({"Title", "Text", true});
                inhibitor.release(inhibitor.inhibit("Reason", [](int) {}));
                badge.show({0.5, 1});
                QCoreApplication::processEvents();
            }
        });
        EXPECT_LT(took, 1s) << address;
    }
}

TEST(DesktopBus, OutlivesTheBusAndFindsTheNextOne) {
    PrivateBus bus;
    DesktopBus desktop(bus.address());
    EXPECT_FALSE(desktop.connection().isConnected());
    bus.start();
    const QDBusConnection first = desktop.connection();
    EXPECT_TRUE(first.isConnected());
    bus.stop();
    EXPECT_TRUE(turnUntil([&] { return !first.isConnected(); }));
    bus.start();
    EXPECT_TRUE(desktop.connection().isConnected());
}

} // namespace tarvo::test

#include "DesktopServicesTest.moc"
