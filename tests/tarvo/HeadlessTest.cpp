// The application without a window, as its user meets it: one for all, fed from every side, and hard to stop.
#include "cli/Program.h"

#include "base/PosixDisk.h"
#include "platform/ApplicationService.h"
#include "support/FaultServer.h"
#include "support/PrivateBus.h"
#include "support/SampleData.h"
#include "support/Text.h"

#include <csignal>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

namespace tarvo::test {

namespace {

using namespace std::chrono_literals;

constexpr std::int64_t kSize = 3'000'001;

} // namespace

class HeadlessTest : public ::testing::Test {
protected:
    std::unique_ptr<Program> run(const std::vector<std::string>& arguments) const {
        return std::make_unique<Program>(home, arguments, surroundings);
    }

    /// Hands over to the application that runs.
    std::unique_ptr<Program> attach(std::vector<std::string> arguments) const {
        Surroundings get = surroundings;
        get.program = TARVO_GET_PROGRAM;
        arguments.insert(arguments.begin(), "--attach");
        return std::make_unique<Program>(home, arguments, get);
    }

    std::string socketPath() const { return home.path("XDG_CONFIG_HOME/tarvo/tarvo.conf.instance.socket"); }

    std::string file(const std::string& name) const { return home.path("files/" + name); }

    bool arrives(Program& program, const std::string& name) const {
        return program.runsUntil([&] { return Disk::exists(file(name)); }) &&
               fileIsSample(file(name), kSize).empty();
    }

    std::string logs() const { return contentOfAll(home.path("XDG_STATE_HOME/tarvo/logs")); }

    std::string crashes() const { return contentOfAll(home.path("XDG_STATE_HOME/tarvo/crashes")); }

    static void ends(Program& program) {
        program.signal(SIGTERM);
        EXPECT_EQ(program.status(5s), 0) << program.problems();
    }

    TemporaryFolder home;
    const std::string settings = writeSettings(home, "AutoStartAfterAdd=true\nDefaultConcurrency=3\n");
    FaultServer server;
    Surroundings surroundings;
};

TEST_F(HeadlessTest, ASecondStartHandsOverAndLeaves) {
    const auto first = run({"--headless", server.url(kSize, "", "a")});
    ASSERT_TRUE(arrives(*first, "a"));
    const auto second = run({server.url(kSize, "", "b"), "--headless"});
    EXPECT_EQ(second->status(3s), 0) << second->problems();
    EXPECT_TRUE(arrives(*first, "b"));
    const auto reset = run({"-ResetDefaults", server.url(kSize, "", "c")});
    EXPECT_EQ(reset->status(3s), 1);
    EXPECT_TRUE(has(reset->problems(), "nothing was reset"));
    EXPECT_TRUE(arrives(*first, "c"));
    first->signal(SIGSTOP); // runs, and does not answer
    const auto third = run({server.url(kSize, "", "d")});
    EXPECT_EQ(third->status(10s), 1);
    EXPECT_TRUE(has(third->problems(), "does not answer"));
    first->signal(SIGCONT);
    ends(*first);
}

TEST_F(HeadlessTest, StartsWhenTheLastOneIsOnlyJustGone) {
    PosixDisk disk;
    const std::string lock = home.write("XDG_CONFIG_HOME/tarvo/tarvo.conf.instance", "");
    auto held = disk.openLocked(lock, 0ms); // as of one that was killed and is not cleared up yet
    ASSERT_TRUE(held);
    const auto next = run({"--headless", server.url(kSize, "", "a")});
    EXPECT_FALSE(next->runsUntil([&] { return Disk::exists(socketPath()); }, 300ms));
    held->close();
    EXPECT_TRUE(arrives(*next, "a")) << next->problems();
    ends(*next);
}

TEST_F(HeadlessTest, TellsWhoHandsOverWhatBecameOfIt) {
    std::string url = server.url(kSize, "", "a");
    const auto alone = attach({url});
    EXPECT_EQ(alone->status(), 1);
    EXPECT_TRUE(has(alone->problems(), "no application took"));
    const auto application = run({"--headless"});
    ASSERT_TRUE(application->runsUntil([&] { return Disk::exists(socketPath()); }));
    const auto taken = attach({url, "--json"});
    EXPECT_EQ(taken->status(), 0) << taken->problems();
    EXPECT_EQ(taken->output(), R"({"alreadyThere":false,"event":"taken","url":")" + url + "\"}\n");
    EXPECT_TRUE(arrives(*application, "a"));
    const std::string slow = server.url(kSize, "rate=30000", "slow");
    EXPECT_EQ(attach({slow})->status(), 0);
    const auto mixed = attach({slow, url, file("none.trdownload")});
    EXPECT_EQ(mixed->status(), 1);
    EXPECT_EQ(mixed->output(), "already there: " + slow + "\ntaken: " + url + "\n");
    EXPECT_TRUE(has(mixed->problems(), "none.trdownload"));
    EXPECT_TRUE(arrives(*application, "a (2)")) << "it had finished, and is fetched again";
    const auto second = run({"gopher://bob:secret@a/", "/etc/passwd", slow});
    EXPECT_EQ(second->status(), 1);
    EXPECT_TRUE(has(second->problems(), "not taken: gopher://"));
    EXPECT_TRUE(has(second->problems(), "/etc/passwd"));
    EXPECT_FALSE(has(second->problems(), "secret"));
    ends(*application);
}

TEST_F(HeadlessTest, WhatWasTakenIsThereAfterAnyEnd) {
    constexpr int count = 500;
    writeSettings(home, "AutoStartAfterAdd=false\nPreparationConcurrency=1\n");
    std::vector<std::string> links;
    for (int i = 0; i < count; ++i)
        links.push_back(server.url(1000, "", "f" + std::to_string(i)));
    server.stop(); // so that nothing is prepared
    auto application = run({"--headless"});
    ASSERT_TRUE(application->runsUntil([&] { return Disk::exists(socketPath()); }));
    const auto attached = attach(links);
    EXPECT_EQ(attached->status(), 0) << attached->problems();
    application->signal(SIGKILL);
    EXPECT_EQ(application->status(), 128 + SIGKILL);
    server.start();
    const auto isReady = [&](const std::string& name) {
        return Disk::exists(file(name + ".trdownload/progress"));
    };
    application = run({"--headless"});
    ASSERT_TRUE(application->runsUntil([&] { return isReady("f100"); }));
    application->signal(SIGKILL); // some of them are prepared, and perhaps not in the session yet
    EXPECT_EQ(application->status(), 128 + SIGKILL);
    application = run({"--headless"});
    const auto requests = server.requests().size();
    ASSERT_TRUE(application->runsUntil([&] { return isReady("f499"); }));
    std::vector<std::string> heads;
    const auto all = server.requests();
    for (auto each = all.begin() + static_cast<std::ptrdiff_t>(requests); each != all.end(); ++each) {
        if (each->method == "HEAD")
            heads.push_back(server.address(each->path));
    }
    EXPECT_EQ(heads, links) << "each once, in their order";
    const std::filesystem::directory_iterator bundles(home.path("files"));
    EXPECT_EQ(std::distance(begin(bundles), end(bundles)), count);
    ends(*application);
}

TEST_F(HeadlessTest, FollowsAPersonWhoEditsTheSettings) {
    const std::string common = "AutoStartAfterAdd=true\nMaxConnectionsPerHost=64\n";
    writeSettings(home, common + "DefaultConcurrency=1\n");
    std::vector<std::string> arguments{"--headless"};
    for (const auto* name : {"a", "b", "c"})
        arguments.push_back(server.url(kSize, "rate=30000", name));
    const auto program = run(arguments);
    const auto isRunning = [&](const std::string& name) {
        const auto requests = server.requests();
        return std::count_if(requests.begin(), requests.end(), [&](const HttpRequest& request) {
                   return request.path == "/file/3000001/" + name;
               }) >= 10; // the probe's are fewer
    };
    ASSERT_TRUE(program->runsUntil([&] { // the queue of three has been saved
        return isRunning("a") && contentOf(settings).find("c.trdownload") != std::string::npos;
    }));
    EXPECT_FALSE(isRunning("b") || isRunning("c")) << "one at a time";
    // In place, with neither the queue nor anything else that the program has written since.
    writeSettings(home, common + "DefaultConcurrency=3\n");
    EXPECT_TRUE(program->runsUntil([&] { return isRunning("b") && isRunning("c"); }, 5s));
    program->signal(SIGKILL);
    EXPECT_EQ(program->status(), 128 + SIGKILL);
    EXPECT_NE(contentOf(settings).find("DefaultConcurrency=\"3\""), std::string::npos);
    EXPECT_TRUE(has(contentOf(settings), "c.trdownload")) << "the queue is as it was";
}

/// The application as other programs on the session's bus call it.
class HeadlessOnTheBusTest : public HeadlessTest {
protected:
    HeadlessOnTheBusTest() {
        bus.start();
        surroundings.environment.push_back("DBUS_SESSION_BUS_ADDRESS=" + bus.address());
        program = run({"--headless"});
        EXPECT_TRUE(program->runsUntil([&] { return answers(); }));
    }

    static QDBusMessage message(const char* method, const QVariantList& arguments) {
        auto call = QDBusMessage::createMethodCall(ApplicationService::kName, ApplicationService::kPath,
                                                   "org.freedesktop.Application", method);
        call.setArguments(arguments);
        return call;
    }

    QDBusMessage call(const char* method, const QVariantList& arguments) {
        return bus.connection().call(message(method, arguments), QDBus::Block, 5000);
    }

    bool answers() { return call("Activate", {QVariantMap()}).type() == QDBusMessage::ReplyMessage; }

    /// What others send without waiting for the answer.
    void open(const std::string& uri) {
        bus.connection().send(message("Open", {QStringList{QString::fromStdString(uri)}, QVariantMap()}));
    }

    PrivateBus bus;
    std::unique_ptr<Program> program;
};

TEST_F(HeadlessOnTheBusTest, WhatIsOpenedIsKeptWhenItIsAnswered) {
    EXPECT_EQ(call("ActivateAction", {"toggle-autorun", QVariantList(), QVariantMap()}).type(),
              QDBusMessage::ReplyMessage);
    server.stop();
    const QString kept = QString::fromStdString(server.url(kSize, "", "kept"));
    EXPECT_EQ(call("Open", {QStringList{kept}, QVariantMap()}).type(), QDBusMessage::ReplyMessage);
    program->signal(SIGKILL);
    EXPECT_EQ(program->status(), 128 + SIGKILL);
    EXPECT_TRUE(has(contentOf(settings), "/kept"));
}

TEST_F(HeadlessOnTheBusTest, AFloodOfCallsDrownsNothing) {
    for (int i = 0; i < 2000; ++i)
        open((i % 2 == 0 ? "tarvo://add/%7Bbroken" : "file:///nowhere/") + std::to_string(i) + ".trdownload");
    EXPECT_TRUE(answers());
    const QStringList tooMany(ApplicationService::kMostUris + 1, "http://127.0.0.1/");
    EXPECT_EQ(call("Open", {tooMany, QVariantMap()}).errorName(),
              QDBusError::errorString(QDBusError::LimitsExceeded));
    open(server.url(kSize, "", "last"));
    EXPECT_TRUE(arrives(*program, "last"));
    EXPECT_LT(logs().size(), 100'000u);
    ends(*program);
    EXPECT_FALSE(has(contentOf(settings), "nowhere"));
}

TEST_F(HeadlessTest, ItsArgumentsAndItsMessagesShowNoPassword) {
    std::ofstream(settings, std::ios::app) << "DebugModeEnabled=true\n";
    std::vector<std::string> arguments{"--headless", server.url(kSize, "auth=basic", "a"),
                                       server.url(kSize, "status=404", "gone")};
    for (auto& url : {&arguments[1], &arguments[2]})
        url->insert(url->find("://") + 3, "bob:secret@");
    const auto call =
        QByteArray::fromStdString(R"({"urls":[{"href":")" + arguments[1] + R"("}]})").toPercentEncoding();
    arguments.push_back("tarvo://add/" + call.toStdString());
    const auto program = run(arguments);
    EXPECT_TRUE(arrives(*program, "a"));
    ASSERT_TRUE(program->prints("failed with error"));
    EXPECT_TRUE(has(program->commandLine(), "bob:"));
    EXPECT_FALSE(has(program->commandLine(), "secret"));
    ends(*program);
    for (const auto* unwanted : {"secret", "INFO ", "DBUG ", "VRBS "})
        EXPECT_FALSE(has(program->problems(), unwanted));
    const std::string log = logs();
    EXPECT_GT(countOf(log, "INFO "), 0);
    EXPECT_EQ(countOf(log, "failed with error"), countOf(program->problems(), "failed with error"));
}

TEST_F(HeadlessTest, ACrashLeavesAReportOfWhichTheNextStartTells) {
    const auto* const started = "Bookmark hasn't been set";
    int starts = 0;
    const auto statusAfter = [&](int signal) {
        const auto program = run({"--headless"});
        EXPECT_TRUE(program->runsUntil([&] { return countOf(logs(), started) > starts; }));
        ++starts;
        program->signal(signal);
        return program->status();
    };
    EXPECT_GT(statusAfter(SIGSEGV), 0);
    const std::string report = crashes();
    for (const auto* part :
         {"Tarvo ", TARVO_VERSION, "SIGSEGV", "(main+0x", "QCoreApplication::exec()+0x", started})
        EXPECT_TRUE(has(report, part));
    EXPECT_EQ(statusAfter(SIGTERM), 0);
    EXPECT_EQ(statusAfter(SIGTERM), 0);
    EXPECT_EQ(countOf(logs(), "The program has crashed before"), 1);
    EXPECT_EQ(crashes(), report);
}

TEST_F(HeadlessTest, AWorkingFolderThatIsGoneIsNamed) {
    surroundings.program = "/bin/sh";
    std::filesystem::create_directory(home.path("gone"));
    const auto program = run(
        {"-c", "cd \"$0\" && rmdir \"$0\" && exec \"$1\" x.trdownload", home.path("gone"), TARVO_PROGRAM});
    EXPECT_EQ(program->status(), 2);
    EXPECT_TRUE(has(program->problems(), "working folder"));
}

TEST_F(HeadlessTest, QuitsByItselfWhenAllIsDoneIfThatIsWanted) {
    writeSettings(home, "AutoStartAfterAdd=true\nAutoQuitWhenTransfersComplete=true\n");
    const auto program = run({"--headless", server.url(kSize, "rate=300000", "a")});
    EXPECT_EQ(program->status(), 0);
    EXPECT_EQ(fileIsSample(file("a"), kSize), "");
    EXPECT_EQ(run({"--nonsense"})->status(), 2);
}

} // namespace tarvo::test
