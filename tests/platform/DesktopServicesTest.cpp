// What the desktop's services are asked, how they are taken back, and that nobody waits where there are none.
#include "platform/DesktopNotices.h"
#include "platform/Login1SleepInhibitor.h"
#include "platform/UnityLauncherBadge.h"

#include "support/PrivateBus.h"

#include <cerrno>
#include <chrono>

#include <QDBusArgument>
#include <QDBusPendingReply>

namespace tarvo::test {

namespace {

using namespace std::chrono_literals;

/// How long `action` takes.
std::chrono::steady_clock::duration timeOf(const std::function<void()>& action) {
    const auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::steady_clock::now() - start;
}

/// Writes down the badge's signals.
class Launcher final : public QObject {
    Q_OBJECT

public:
    std::vector<QDBusMessage> updates;

    QVariantMap properties() const { return qdbus_cast<QVariantMap>(updates.back().arguments().value(1)); }

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
    /// What, who, why and how of each lock that the login manager knows of.
    QStringList locks() {
        const auto answer = bus.call("org.freedesktop.login1", "/org/freedesktop/login1",
                                     "org.freedesktop.login1.Manager", "ListInhibitors");
        QStringList all;
        const auto list = answer.arguments().value(0).value<QDBusArgument>();
        list.beginArray();
        while (!list.atEnd()) {
            QString what, who, why, mode;
            quint32 user = 0, process = 0;
            list.beginStructure();
            list >> what >> who >> why >> mode >> user >> process;
            list.endStructure();
            all.push_back(QStringList{what, who, why, mode}.join('|'));
        }
        list.endArray();
        return all;
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
    EXPECT_EQ(outcomeOf("Downloading"), 0);
    EXPECT_EQ(locks(), QStringList{"idle:sleep|Tarvo|Downloading|block"});
    const auto first = last;
    EXPECT_EQ(outcomeOf("More"), 0);
    EXPECT_EQ(locks().size(), 2);
    inhibitor.release(first);
    EXPECT_TRUE(turnUntil([&] { return locks() == QStringList{"idle:sleep|Tarvo|More|block"}; }));
    inhibitor.release(last);
    EXPECT_TRUE(turnUntil([&] { return locks().isEmpty(); }));
}

TEST_F(Login1SleepInhibitorTest, ALockThatComesAfterItsReleaseIsNotKept) {
    bus.play("org.freedesktop.login1", {"--template", "logind"});
    bool told = false;
    inhibitor.release(inhibitor.inhibit("Early", [&](int) { told = true; }));
    EXPECT_EQ(outcomeOf("Late"), 0); // answered after the first
    EXPECT_TRUE(turnUntil([&] { return locks() == QStringList{"idle:sleep|Tarvo|Late|block"}; }));
    EXPECT_FALSE(told);
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
    inhibitor.release(last);
    EXPECT_GT(last, 1u);
}

TEST_F(Login1SleepInhibitorTest, SaysWhatIsMissing) {
    EXPECT_EQ(outcomeOf("Nobody there"), ENOENT);
    DesktopBus none("");
    DesktopBus gone(bus.address() + "-of-nobody");
    for (DesktopBus* missing : {&none, &gone}) {
        Login1SleepInhibitor alone(*missing);
        std::optional<int> outcome;
        const auto id = alone.inhibit("No bus", [&](int result) { outcome = result; });
        EXPECT_TRUE(turnUntil([&] { return outcome.has_value(); }));
        EXPECT_EQ(outcome, ENOTCONN);
        alone.release(id);
    }
}

class DesktopNoticesTest : public DesktopServicesTest {
protected:
    /// What the notification service was asked to show: as soon as it was, once.
    QVariantList shown() {
        QVariantList arguments;
        EXPECT_TRUE(turnUntil([&] {
            const auto answer = bus.call("org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                                         "org.freedesktop.DBus.Mock", "GetMethodCalls", {"Notify"});
            const auto list = answer.arguments().value(0).value<QDBusArgument>();
            int calls = 0;
            list.beginArray();
            for (; !list.atEnd(); ++calls) {
                quint64 time = 0;
                arguments.clear();
                list.beginStructure();
                list >> time >> arguments;
                list.endStructure();
            }
            list.endArray();
            return calls == 1;
        }));
        return arguments;
    }

    DesktopNotices notices{desktop};
};

TEST_F(DesktopNoticesTest, ShowsFileNamesAsTheyAreWhereMarkupIsRead) {
    bus.play("org.freedesktop.Notifications", {"--template", "notification_daemon"});
    notices.deliver({"This & that", "Tarvo downloaded <b>&amp;ä.zip", true});
    const auto arguments = shown();
    ASSERT_EQ(arguments.size(), 8);
    EXPECT_EQ(arguments[0], "Tarvo");
    EXPECT_EQ(arguments[1], 0);
    EXPECT_EQ(arguments[3], "This & that");
    EXPECT_EQ(arguments[4], "Tarvo downloaded &lt;b&gt;&amp;amp;ä.zip");
    EXPECT_EQ(qdbus_cast<QVariantMap>(arguments[6]),
              (QVariantMap{{"desktop-entry", "com.unregistered.Tarvo"}, {"sound-name", "complete"}}));
    EXPECT_EQ(arguments[7], -1);
}

TEST_F(DesktopNoticesTest, AndWhereItIsNot) {
    bus.play("org.freedesktop.Notifications",
             {"--template", "notification_daemon", "--parameters", R"({"capabilities": "body"})"});
    notices.deliver({"Title", "<b>&amp;ä.zip", false});
    const auto arguments = shown();
    ASSERT_EQ(arguments.size(), 8);
    EXPECT_EQ(arguments[4], "<b>&amp;ä.zip");
    EXPECT_FALSE(qdbus_cast<QVariantMap>(arguments[6]).contains("sound-name"));
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
    EXPECT_EQ(qdbus_cast<QVariantMap>(launcher.updates[0].arguments().value(1)),
              (QVariantMap{
                  {"progress", 0.25}, {"progress-visible", true}, {"count", 0LL}, {"count-visible", false}}));
    const QVariantMap second{
        {"progress", 0.0}, {"progress-visible", false}, {"count", 5'000'000'000LL}, {"count-visible", true}};
    EXPECT_EQ(launcher.properties(), second);

    QDBusPendingReply<QString, QVariantMap> status = bus.connection().asyncCall(
        QDBusMessage::createMethodCall(launcher.updates[0].service(), launcher.updates[0].path(),
                                       "com.canonical.Unity.LauncherEntry", "Query"));
    ASSERT_TRUE(turnUntil([&] { return status.isFinished(); }));
    ASSERT_FALSE(status.isError()) << status.error().message().toStdString();
    EXPECT_EQ(status.argumentAt<0>(), "application://com.unregistered.Tarvo.desktop");
    EXPECT_EQ(status.argumentAt<1>(), second);
}

TEST(DesktopBus, NobodyWaitsForABusThatIsMissingEmptyOrHangs) {
    const PrivateBus places;
    PrivateBus empty;
    empty.start();
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un place = places.place();
    ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr*>(&place), sizeof place), 0);
    ASSERT_EQ(::listen(listener, 8), 0); // and never answers
    for (const std::string& address :
         {std::string(), places.address() + "-of-nobody", empty.address(), places.address()}) {
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
    ::close(listener);
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
    QObject here;
    QString id;
    desktop.call(QDBusMessage::createMethodCall("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                "org.freedesktop.DBus", "GetId"),
                 here, [&](const QDBusMessage& answer) { id = answer.arguments().value(0).toString(); });
    EXPECT_TRUE(turnUntil([&] { return !id.isEmpty(); }));
}

} // namespace tarvo::test

#include "DesktopServicesTest.moc"
