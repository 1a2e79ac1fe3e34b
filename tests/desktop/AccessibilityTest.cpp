// What a screen reader finds in the windows, asked for over its own bus as it does it.
#include "cli/Program.h"

#include "support/PrivateBus.h"
#include "support/Text.h"
#include "support/VirtualDisplay.h"

#include <algorithm>
#include <utility>

#include <QDBusArgument>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace tarvo::test {

namespace {

using namespace std::chrono_literals;

/// An object of the accessibility bus: the program that has it, and its path.
struct Accessible {
    QString service;
    QString path;
};

constexpr const char* kAccessible = "org.a11y.atspi.Accessible";
constexpr unsigned kFocusable = 1U << 11; // ATSPI_STATE_FOCUSABLE of atspi-constants.h
constexpr unsigned kShowing = 1U << 25;   // ATSPI_STATE_SHOWING

/// The bus that screen readers listen on.
class ReaderBus {
public:
    explicit ReaderBus(const std::string& address) : m_name(QString::fromStdString("reader " + address)) {
        QDBusConnection::connectToBus(QString::fromStdString(address), m_name);
    }

    ~ReaderBus() { QDBusConnection::disconnectFromBus(m_name); }

    QDBusMessage call(const Accessible& object, const char* interface, const char* method,
                      const QVariantList& arguments = {}) const {
        auto message = QDBusMessage::createMethodCall(object.service, object.path, interface, method);
        message.setArguments(arguments);
        return QDBusConnection(m_name).call(message, QDBus::Block, 5'000);
    }

    std::vector<Accessible> children(const Accessible& object) const {
        const auto answer = call(object, kAccessible, "GetChildren");
        std::vector<Accessible> all;
        if (answer.arguments().isEmpty())
            return all;
        const auto list = answer.arguments().first().value<QDBusArgument>();
        list.beginArray();
        while (!list.atEnd()) {
            Accessible child;
            QDBusObjectPath path;
            list.beginStructure();
            list >> child.service >> path;
            list.endStructure();
            child.path = path.path();
            all.push_back(child);
        }
        list.endArray();
        return all;
    }

    std::string property(const Accessible& object, const char* name) const {
        const auto answer =
            call(object, "org.freedesktop.DBus.Properties", "Get", {QString(kAccessible), QString(name)});
        return answer.arguments().value(0).value<QDBusVariant>().variant().toString().toStdString();
    }

    std::string role(const Accessible& object) const {
        return call(object, kAccessible, "GetRoleName").arguments().value(0).toString().toStdString();
    }

    unsigned states(const Accessible& object) const {
        const auto words =
            qdbus_cast<QList<unsigned>>(call(object, kAccessible, "GetState").arguments().value(0));
        return words.value(0);
    }

private:
    const QString m_name;
};

/// What is wrong with an object and all below it; names all that is seen and can have the keyboard's focus.
void walk(const ReaderBus& bus, const Accessible& object, const std::string& way,
          std::vector<std::string>& focusable, std::vector<std::string>& complaints) {
    const std::string name = bus.property(object, "Name");
    const std::string here = way + "/" + bus.role(object) + " '" + name + "'";
    const unsigned states = bus.states(object);
    if ((states & kFocusable) != 0 && (states & kShowing) != 0) {
        focusable.push_back(name);
        if (name.empty())
            complaints.push_back(here + " has no name");
    }
    for (const auto& child : bus.children(object))
        walk(bus, child, here, focusable, complaints);
}

} // namespace

/// The program on a screen and a bus of its own.
class AccessibilityTest : public ::testing::Test {
protected:
    void SetUp() override {
        const std::string runtime = home.path("XDG_RUNTIME_DIR");
        ::mkdir(runtime.c_str(), 0700);
        bus.start({"XDG_RUNTIME_DIR=" + runtime, display.environment(), "HOME=" + home.path(),
                   "DBUS_SESSION_BUS_ADDRESS=" + bus.address(), "PATH=/usr/bin:/bin"});
        surroundings.environment = {display.environment(), "DBUS_SESSION_BUS_ADDRESS=" + bus.address(),
                                    "QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1", "QT_QPA_PLATFORM=xcb"};
    }

    std::string readersAddress() {
        return bus.call("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress")
            .arguments()
            .value(0)
            .toString()
            .toStdString();
    }

    TemporaryFolder home;
    const std::string settings =
        writeSettings(home, "ShowDockProgress=false\nSkipAddSheetForNewDownloads=true\n");
    VirtualDisplay display;
    PrivateBus bus;
    Surroundings surroundings;
};

TEST_F(AccessibilityTest, EveryControlHasAName) {
    const Program program(home, {"http://127.0.0.1:9/file.zip"}, surroundings);
    const ReaderBus readers(readersAddress());
    const Accessible root{"org.a11y.atspi.Registry", "/org/a11y/atspi/accessible/root"};
    std::vector<Accessible> applications;
    ASSERT_TRUE(turnUntil([&] { return !(applications = readers.children(root)).empty(); }));
    ASSERT_TRUE(turnUntil([&] { return !readers.children(applications.front()).empty(); }));
    const auto look = [&](std::vector<std::string>& complaints) {
        std::vector<std::string> focusable;
        complaints.clear();
        walk(readers, applications.front(), "", focusable, complaints);
        return focusable;
    };
    std::vector<std::string> complaints;
    std::size_t usual = 0;
    EXPECT_TRUE(turnUntil([&] {
        const auto names = look(complaints);
        const bool showsRow = std::ranges::any_of(names, [](auto& name) { return has(name, "file.zip"); });
        return std::exchange(usual, names.size()) == names.size() && showsRow;
    }));
    EXPECT_EQ(complaints, std::vector<std::string>());
    for (const char* key : {"alt+Return", "ctrl+n", "ctrl+comma"}) {
        display.act({"key", "--clearmodifiers", key});
        EXPECT_TRUE(turnUntil([&] { return look(complaints).size() > usual; })) << key << " opens nothing";
        EXPECT_EQ(complaints, std::vector<std::string>()) << key;
        const auto leaves = [&] {
            display.act({"key", "Escape"}); // which a dialog that has just come does not get yet
            return look(complaints).size() == usual;
        };
        EXPECT_TRUE(turnUntil(leaves)) << key << " stays open";
    }
}

} // namespace tarvo::test
