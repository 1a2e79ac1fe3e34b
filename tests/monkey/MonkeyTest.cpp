// Chance presses keys, clicks, drags and hands links over; whatever it does, no file may be wrong and the
// program must not crash, leak or stop answering.
#include "cli/Program.h"

#include "platform/ApplicationService.h"
#include "support/FaultServer.h"
#include "support/PrivateBus.h"
#include "support/SampleData.h"
#include "support/Text.h"
#include "support/VirtualDisplay.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <random>

#include <QDBusError>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace tarvo::test {

namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

constexpr int kWidth = 1000;
constexpr int kHeight = 700;
constexpr auto kLongestAnswer = 100ms;

/// What a person presses, each as often as it stands here.
const std::vector<std::string> kKeys{
    "Down",       "Down",      "Down",      "Up",          "End",          "Home",      "shift+Down",
    "ctrl+a",     "space",     "space",     "Return",      "Escape",       "Escape",    "Escape",
    "Tab",        "Tab",       "shift+Tab", "Delete",      "shift+Delete", "ctrl+n",    "ctrl+v",
    "ctrl+f",     "ctrl+r",    "ctrl+y",    "ctrl+comma",  "alt+Return",   "ctrl+Up",   "ctrl+Down",
    "ctrl+Prior", "ctrl+Next", "F2",        "F5",          "ctrl+1",       "ctrl+2",    "ctrl+3",
    "ctrl+4",     "ctrl+5",    "ctrl+c",    "ctrl+Return", "F10",          "Left",      "Right",
    "Menu",       "F1",        "alt+F4",    "ctrl+w",      "Page_Down",    "BackSpace", "x",
    "ctrl+q"};

const std::vector<std::string> kKnobs{"",          "",           "rate=200000",         "random=7",
                                      "cut=40000", "norange",    "stall=30000&until=2", "status=404",
                                      "nolength",  "auth=basic", "status=503&until=3",  "type=text/html"};

long longFrom(const char* name, long fallback) {
    const char* value = std::getenv(name);
    return value ? std::atol(value) : fallback;
}

} // namespace

class MonkeyTest : public ::testing::Test {
protected:
    void SetUp() override {
        const std::string runtime = home.path("XDG_RUNTIME_DIR");
        ::mkdir(runtime.c_str(), 0700);
        bus.start();
        // What would open a file with another program opens nothing.
        fs::create_directories(home.path("bin"));
        for (const char* name : {"xdg-open", "xdg-email", "xdg-settings", "xdg-mime"})
            ::chmod(home.write("bin/" + std::string(name), "#!/bin/sh\n").c_str(), 0755);
        surroundings.program = std::getenv("TARVO_MONKEY_PROGRAM");
        surroundings.environment = {display.environment(), "DBUS_SESSION_BUS_ADDRESS=" + bus.address(),
                                    "QT_QPA_PLATFORM=xcb", "XDG_RUNTIME_DIR=" + runtime,
                                    "PATH=" + home.path("bin") + ":/usr/bin:/bin"};
        start();
    }

    int below(std::size_t end) {
        return static_cast<int>(std::uniform_int_distribution<std::size_t>(0, end - 1)(m_chance));
    }

    template <class Text>
    const Text& oneOf(const std::vector<Text>& all) {
        return all[static_cast<std::size_t>(below(all.size()))];
    }

    void start() {
        m_program = std::make_unique<Program>(home, std::vector<std::string>{}, surroundings);
        ASSERT_TRUE(m_program->runsUntil([&] { return bus.has(ApplicationService::kName); }))
            << m_program->problems();
    }

    /// Its windows, dialogs and all, or the main loop must answer.
    void ask() {
        const auto begin = std::chrono::steady_clock::now();
        const auto answer = bus.call(ApplicationService::kName, ApplicationService::kPath,
                                     "org.freedesktop.DBus.Introspectable", "Introspect");
        const auto time =
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin);
        EXPECT_NE(QDBusError(answer).type(), QDBusError::NoReply) << m_program->problems();
        if (answer.type() == QDBusMessage::ReplyMessage)
            m_answers.push_back(time);
    }

    std::string link() {
        const std::int64_t size = 1 + below(3'000'000);
        return server.url(size, oneOf(kKnobs), "f" + std::to_string(m_links++));
    }

    void open() {
        bus.call(
            ApplicationService::kName, ApplicationService::kPath, "org.freedesktop.Application", "Open",
            {QStringList{QString::fromStdString(link()), QString::fromStdString(link())}, QVariantMap()});
    }

    std::vector<std::string> toSomewhere() {
        return {"mousemove", std::to_string(below(kWidth)), std::to_string(below(kHeight))};
    }

    void click(const std::string& button, int times) {
        auto words = toSomewhere();
        words.insert(words.end(), {"click", "--repeat", std::to_string(times), "--delay", "40", button});
        display.act(words);
    }

    void drag() {
        auto words = toSomewhere();
        words.insert(words.end(), {"mousedown", "1"});
        for (int i = 0; i < 3; ++i) {
            const auto next = toSomewhere();
            words.insert(words.end(), next.begin(), next.end());
        }
        words.insert(words.end(), {"mouseup", "1"});
        display.act(words);
    }

    void end(int how) {
        m_program->signal(how);
        const int status = m_program->status(60s);
        EXPECT_EQ(status, how == SIGKILL ? 128 + SIGKILL : 0) << m_program->problems();
    }

    void act() {
        const int what = below(100);
        if (what < 55)
            display.act({"key", oneOf(kKeys)});
        else if (what < 80)
            click("1", 1 + below(2));
        else if (what < 85)
            click("3", 1);
        else if (what < 90)
            drag();
        else if (what < 98)
            open();
        else
            display.act({"type", link()});
    }

    /// Ends of every kind, and a new start.
    void endSomehow() {
        switch (below(3)) {
        case 0:
            end(SIGTERM);
            break;
        case 1:
            end(SIGKILL);
            break;
        default:
            return;
        }
        start();
    }

    /// Whatever has a final name is whole and right, whatever name it was given.
    void expectNoWrongFile() const {
        int files = 0;
        for (auto file = fs::recursive_directory_iterator(home.path("files"));
             file != fs::recursive_directory_iterator(); ++file) {
            if (file->path().extension() == ".trdownload") {
                file.disable_recursion_pending();
            } else if (file->is_regular_file()) {
                ++files;
                const auto size = static_cast<std::int64_t>(file->file_size());
                EXPECT_EQ(fileIsSample(file->path(), size), "") << file->path();
            }
        }
        std::cout << files << " files, " << m_links << " links\n";
    }

    /// The times are told, and judged by the one who has a quiet machine.
    void tellAnswers() {
        std::sort(m_answers.begin(), m_answers.end());
        const auto late = std::upper_bound(m_answers.begin(), m_answers.end(), kLongestAnswer);
        std::cout << m_answers.size() << " answers; slowest "
                  << (m_answers.empty() ? 0 : m_answers.back().count()) << " ms, " << m_answers.end() - late
                  << " slower than " << kLongestAnswer.count() << " ms\n";
    }

    TemporaryFolder home;
    const std::string settings =
        writeSettings(home, "AutoStartAfterAdd=true\nDefaultConcurrency=3\nMinimumChunkSize=20000\n");
    FaultServer server;
    VirtualDisplay display{std::to_string(kWidth) + "x" + std::to_string(kHeight)};
    PrivateBus bus;
    Surroundings surroundings;
    std::mt19937 m_chance{static_cast<unsigned>(longFrom("TARVO_MONKEY_SEED", 1))};
    std::unique_ptr<Program> m_program;
    std::vector<std::chrono::milliseconds> m_answers;
    int m_links = 0;
};

TEST_F(MonkeyTest, HarmsNothing) {
    fs::create_directories(home.path("files"));
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::seconds(longFrom("TARVO_MONKEY_SECONDS", 15));
    while (std::chrono::steady_clock::now() < deadline && !HasFailure()) {
        act();
        ask();
        if (below(500) == 0)
            endSomehow();
        const int status = m_program->status(1ms);
        if (status < 0)
            continue;
        EXPECT_EQ(status, 0) << m_program->problems(); // it was quit
        start();
    }
    end(SIGTERM);
    expectNoWrongFile();
    tellAnswers();
    EXPECT_EQ(server.problems(), std::vector<std::string>());
}

} // namespace tarvo::test
