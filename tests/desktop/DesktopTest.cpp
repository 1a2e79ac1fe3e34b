// Links that are clicked in a browser, and the files that they bring.
#include "cli/Program.h"

#include "platform/ApplicationService.h"
#include "support/NginxServer.h"
#include "support/PrivateBus.h"
#include "support/SampleData.h"
#include "support/TurnUntil.h"

#include <csignal>
#include <filesystem>
#include <set>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>
#include <spdlog/fmt/fmt.h>
#include <sys/stat.h>

namespace tarvo::test {

namespace {

using namespace std::chrono_literals;

constexpr std::int64_t kSize = 2'000'003;

/// A link of that name, which adds a download of `link`.
std::string addLink(const std::string& name, const std::string& link) {
    const QJsonObject call{{"urls", QJsonArray{QJsonObject{{"href", link.c_str()}}}}};
    const QByteArray json = QJsonDocument(call).toJson(QJsonDocument::Compact).toPercentEncoding();
    return fmt::format("<a id={} href='tarvo://add/{}'>{}</a>", name, json.toStdString(), name);
}

/// Chromium without a window, on one page. The profile is new and goes with the object, and so do the
/// processes, those included which the browser has started.
class Browser {
public:
    /// `environment` ("NAME=VALUE") is what the browser and the programs that it opens links with find around
    /// them. The user has told it to open links of tarvo: on pages of `origin` unasked.
    Browser(const std::vector<std::string>& environment, const std::string& origin, const std::string& page) {
        const QJsonObject trusted{{origin.c_str(), QJsonObject{{"tarvo", true}}}};
        const QJsonObject handlers{{"allowed_origin_protocol_pairs", trusted}};
        std::filesystem::create_directories(m_folder.path("Default"));
        m_folder.write("Default/Preferences",
                       QJsonDocument(QJsonObject{{"protocol_handler", handlers}}).toJson().toStdString());
        std::vector<std::string> command{"/usr/bin/env"};
        command.insert(command.end(), environment.begin(), environment.end());
        // Its sandbox is for pages of strangers, and wants rights that not every machine gives.
        command.insert(command.end(), {kProgram, "--headless=new", "--no-sandbox",
                                       "--user-data-dir=" + m_folder.path(), origin + page});
        m_process.start(command, m_folder.path("log"), {});
    }

    static constexpr const char* kProgram = "/usr/bin/chromium";

private:
    TemporaryFolder m_folder;
    ServerProcess m_process;
};

} // namespace

/// The parameter names the desktop, by which xdg-open knows whom to ask.
class ClickedLinkTest : public ::testing::TestWithParam<const char*> {
protected:
    ~ClickedLinkTest() override { endOwner(); }

    /// Whole and right, with nothing beside it.
    bool arrives(const std::string& name) const {
        const std::string path = home.path("files/" + name);
        return turnUntil([&] { return Disk::exists(path) && !Disk::exists(path + ".trdownload"); }) &&
               fileIsSample(path, kSize).empty();
    }

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
            "DISPLAY=:65432", // xdg-open wants to hear of one; nothing connects to it
            "QT_QPA_PLATFORM=offscreen",
        };
        for (const auto* folder : {"XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"})
            all.push_back(std::string(folder) + "=" + home.path(folder));
        return all;
    }

    /// The process that has the program's name on the bus, 0 if none has.
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

    TemporaryFolder home;
    NginxServer server;
    PrivateBus bus;
    const std::string prefix = home.path("prefix");
};

TEST_P(ClickedLinkTest, ReachesTheInstalledProgram) {
    if (!Disk::exists(Browser::kProgram))
        GTEST_SKIP() << "Debian package chromium";
    install();
    bus.start(session());
    writeSettings(home, "AutoStartAfterAdd=true\nSkipAddSheetForNewDownloads=true\nDefaultConcurrency=3\n");
    server.addFile("a.zip", kSize);
    server.addFile("b.zip", kSize);
    server.addPage("page.html",
                   addLink("one", server.url("/a.zip")) + addLink("two", server.url("/b.zip")) +
                       "<script>document.getElementById(location.hash.substr(1)).click()</script>");
    const Browser firstClick(session(), server.url(""), "/page.html#one"); // no program runs yet
    ASSERT_TRUE(arrives("a.zip"));
    const pid_t first = owner();
    std::error_code none;
    EXPECT_EQ(std::filesystem::read_symlink(fmt::format("/proc/{}/exe", first), none), prefix + "/bin/tarvo");
    const Browser again(session(), server.url(""), "/page.html#one"); // which has finished
    const Browser other(session(), server.url(""), "/page.html#two");
    EXPECT_TRUE(arrives("a (2).zip"));
    EXPECT_TRUE(arrives("b.zip"));
    EXPECT_EQ(owner(), first);
    std::set<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(home.path("files")))
        files.insert(entry.path().filename());
    EXPECT_EQ(files, (std::set<std::string>{"a (2).zip", "a.zip", "b.zip"}));
    EXPECT_TRUE(endOwner());
}

// Of one desktop's own opener, which calls over D-Bus; and of none, where the entry's command is run.
INSTANTIATE_TEST_SUITE_P(Desktop, ClickedLinkTest, ::testing::Values("GNOME", "X-Generic"));

} // namespace tarvo::test
