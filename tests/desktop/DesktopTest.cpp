// Links that are clicked in a browser or come over the session's bus, and the files that they bring.
#include "Browser.h"
#include "cli/Program.h"

#include "platform/ApplicationService.h"
#include "support/NginxServer.h"
#include "support/PrivateBus.h"
#include "support/SampleData.h"
#include "support/TurnUntil.h"

#include <csignal>
#include <filesystem>
#include <set>

#include <gtest/gtest.h>
#include <spdlog/fmt/fmt.h>
#include <sys/stat.h>

namespace tarvo::test {

namespace {

using namespace std::chrono_literals;

constexpr std::int64_t kSize = 2'000'003;

std::string addCall(const std::vector<std::string>& links) {
    QJsonArray urls;
    for (const std::string& link : links)
        urls.append(QJsonObject{{"href", link.c_str()}});
    const QByteArray json = QJsonDocument(QJsonObject{{"urls", urls}}).toJson(QJsonDocument::Compact);
    return "tarvo://add/" + json.toPercentEncoding().toStdString();
}

} // namespace

class DesktopTest : public ::testing::Test {
protected:
    DesktopTest() {
        writeSettings(home, "AutoStartAfterAdd=true\nDefaultConcurrency=3\n");
        server.addFile("a.zip", kSize);
        server.addFile("b.zip", kSize);
    }

    /// Whole and right, with nothing beside it.
    bool arrives(const std::string& name) const {
        const std::string path = home.path("files/" + name);
        return turnUntil([&] { return Disk::exists(path) && !Disk::exists(path + ".trdownload"); }) &&
               fileIsSample(path, kSize).empty();
    }

    /// What the folder of downloads holds.
    std::set<std::string> files() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(home.path("files")))
            names.insert(entry.path().filename());
        return names;
    }

    using Time = std::filesystem::file_time_type;

    /// When the records of both downloads were written; of one that is not there: Time::min().
    std::set<Time> lastSaves() const {
        std::error_code ignored;
        std::set<Time> times;
        for (const auto* name : {"a", "b"})
            times.insert(std::filesystem::last_write_time(
                home.path(fmt::format("files/{}.zip.trdownload/progress", name)), ignored));
        return times;
    }

    TemporaryFolder home;
    NginxServer server;
    PrivateBus bus;
};

/// The parameter names the desktop, by which xdg-open knows whom to ask.
class ClickedLinkTest : public DesktopTest, public ::testing::WithParamInterface<const char*> {
protected:
    ~ClickedLinkTest() override { endOwner(); }

    /// Below the test's folder, and known to the desktop as after the installation of a package.
    void install() const {
        runProgram({programPath("cmake", "cmake"), "--install", TARVO_BUILD, "--prefix", prefix});
        runProgram(
            {programPath("update-desktop-database", "desktop-file-utils"), prefix + "/share/applications"});
    }

    /// The environment of everything that a session's user starts.
    std::vector<std::string> session() const {
        const std::string runtime = home.path("XDG_RUNTIME_DIR");
        ::mkdir(runtime.c_str(), 0700);
        std::vector<std::string> all{
            "HOME=" + home.path(),
            "XDG_RUNTIME_DIR=" + runtime,
            "XDG_DATA_DIRS=" + prefix + "/share:/usr/share",
            "PATH=" + prefix + "/bin:/usr/local/bin:/usr/bin:/bin",
            "DBUS_SESSION_BUS_ADDRESS=" + bus.address(),
            "XDG_CURRENT_DESKTOP=" + std::string(GetParam()),
            "no_proxy=*",
            "DISPLAY=:65432", // xdg-open wants to hear of one; nobody connects to it
        };
        for (const auto* folder : {"XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"})
            all.push_back(std::string(folder) + "=" + home.path(folder));
        return all;
    }

    /// The process that has the program's name on the bus, 0 if nobody has.
    pid_t owner() {
        return static_cast<pid_t>(bus.call("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                           "org.freedesktop.DBus", "GetConnectionUnixProcessID",
                                           {ApplicationService::kName})
                                      .arguments()
                                      .value(0)
                                      .toUInt());
    }

    bool endOwner() {
        const pid_t pid = owner();
        if (pid > 0)
            ::kill(pid, SIGTERM);
        return turnUntil([&] { return owner() == 0; }, 5s);
    }

    const std::string prefix = home.path("prefix");
};

TEST_P(ClickedLinkTest, ReachesTheInstalledProgram) {
    if (!Browser::isInstalled())
        GTEST_SKIP() << "Debian package chromium";
    install();
    bus.start(session());
    server.addPage("page.html",
                   fmt::format("<a href='{}'>one</a> <a href='{}'>two</a>", addCall({server.url("/a.zip")}),
                               addCall({server.url("/b.zip")})));
    Browser browser(session(), server.url("/page.html"), server.url(""), "tarvo");
    browser.click("one"); // nobody runs yet
    ASSERT_TRUE(arrives("a.zip"));
    const pid_t first = owner();
    std::error_code nobody;
    EXPECT_EQ(std::filesystem::read_symlink(fmt::format("/proc/{}/exe", first), nobody),
              prefix + "/bin/tarvo");
    browser.click("one"); // which has finished, and is wanted again
    browser.click("two");
    EXPECT_TRUE(arrives("a (2).zip"));
    EXPECT_TRUE(arrives("b.zip"));
    EXPECT_EQ(owner(), first);
    EXPECT_EQ(files(), (std::set<std::string>{"a (2).zip", "a.zip", "b.zip"}));
    EXPECT_TRUE(endOwner());
}

// Of one desktop's own opener, which calls over D-Bus; and of none, where the entry's command is run.
INSTANTIATE_TEST_SUITE_P(Desktop, ClickedLinkTest, ::testing::Values("GNOME", "X-Generic"));

TEST_F(DesktopTest, WhatTheBusBringsSurvivesAKill) {
    bus.start();
    const Surroundings surroundings{.environment = {"DBUS_SESSION_BUS_ADDRESS=" + bus.address()}};
    Program first(home, {"--headless"}, surroundings);
    ASSERT_TRUE(first.runsUntil([&] {
        return bus.call(ApplicationService::kName, ApplicationService::kPath, "org.freedesktop.Application",
                        "Activate", {QVariantMap()})
                   .type() == QDBusMessage::ReplyMessage;
    }));
    const std::string call = addCall({server.url("/slow/a.zip"), server.url("/slow/b.zip")});
    for (int click = 0; click < 2; ++click)
        runProgram({"/usr/bin/env", surroundings.environment[0], programPath("gdbus", "libglib2.0-bin"),
                    "call", "--session", "--dest", ApplicationService::kName, "--object-path",
                    ApplicationService::kPath, "--method", "org.freedesktop.Application.Open",
                    "['" + call + "']", "{}"});
    ASSERT_TRUE(first.runsUntil([&] { return lastSaves().count(Time::min()) == 0; }));
    const auto made = lastSaves();
    ASSERT_TRUE(first.runsUntil([&] { return *lastSaves().begin() > *made.rbegin(); }));
    first.signal(SIGKILL);
    EXPECT_EQ(first.status(), 128 + SIGKILL);

    Program second(home, {"--headless"}, surroundings);
    EXPECT_TRUE(arrives("a.zip"));
    EXPECT_TRUE(arrives("b.zip"));
    second.signal(SIGTERM);
    EXPECT_EQ(second.status(5s), 0) << second.problems();
    EXPECT_EQ(files(), (std::set<std::string>{"a.zip", "b.zip"}));
    std::int64_t sent = 0;
    for (const auto& request : server.requests())
        sent += request.bodyBytes;
    EXPECT_LT(sent, 5 * kSize / 2); // of both all, and little of it twice
}

} // namespace tarvo::test
