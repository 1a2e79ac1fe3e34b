// The queue of the running application, seen and steered from a terminal.
#include "cli/Program.h"

#include "platform/ApplicationService.h"
#include "remote/QueueRow.h"
#include "support/FaultServer.h"
#include "support/PrivateBus.h"
#include "support/SampleData.h"
#include "support/Text.h"

#include <csignal>
#include <filesystem>

#include <gtest/gtest.h>

namespace tarvo::test {

namespace {

using namespace std::chrono_literals;

constexpr std::int64_t kSize = 3'000'001;

} // namespace

class VerbsTest : public ::testing::Test {
protected:
    VerbsTest() {
        bus.start();
        surroundings.environment.push_back("DBUS_SESSION_BUS_ADDRESS=" + bus.address());
    }

    void startApplication() {
        application = std::make_unique<Program>(home, std::vector<std::string>{"--headless"}, surroundings);
        ASSERT_TRUE(application->runsUntil([&] { return bus.has(ApplicationService::kName); }));
    }

    std::unique_ptr<Program> run(const std::vector<std::string>& arguments) const {
        return std::make_unique<Program>(home, arguments, surroundings);
    }

    /// What the verb prints. It must end well.
    std::string said(const std::vector<std::string>& arguments) const {
        const auto program = run(arguments);
        EXPECT_EQ(program->status(), 0) << program->problems();
        return program->output();
    }

    std::string complaint(const std::vector<std::string>& arguments, int status = 1) const {
        const auto program = run(arguments);
        EXPECT_EQ(program->status(), status);
        return program->problems();
    }

    std::string slow(const std::string& name) { return server.url(kSize, "rate=30000", name); }

    bool isListed(const std::string& state, const std::string& name) const {
        return has(said({"list", "--names", state}), "\t" + name + "\n");
    }

    std::string file(const std::string& name) const { return home.path("files/" + name); }

    TemporaryFolder home;
    const std::string settings = writeSettings(home, "AutoStartAfterAdd=true\nDefaultConcurrency=2\n");
    PrivateBus bus;
    FaultServer server;
    Surroundings surroundings;
    std::unique_ptr<Program> application;
};

TEST_F(VerbsTest, SteerTheQueueOfTheRunningApplication) {
    EXPECT_TRUE(has(complaint({"list"}), "No Tarvo is running"));
    EXPECT_FALSE(bus.has(ApplicationService::kName)) << "a look starts nothing";
    startApplication();
    EXPECT_EQ(said({"list"}), "The queue is empty.\n");
    EXPECT_EQ(said({"add", "--directory", home.path("elsewhere"), "-x", "2", slow("a")}),
              "taken: " + slow("a") + "\n");
    const auto mixed = run({"add", slow("b"), slow("a"), "gopher://x", slow("c")});
    EXPECT_EQ(mixed->status(), 1);
    EXPECT_EQ(mixed->output(),
              "taken: " + slow("b") + "\nalready there: " + slow("a") + "\ntaken: " + slow("c") + "\n");
    EXPECT_TRUE(has(mixed->problems(), "gopher://x"));
    ASSERT_TRUE(turnUntil([&] { return isListed("running", "a") && isListed("running", "b"); }));
    EXPECT_TRUE(Disk::exists(home.path("elsewhere/a.trdownload")));
    EXPECT_EQ(said({"list", "--names"}), "1\ta\n2\tb\n3\tc\n");
    EXPECT_TRUE(has(said({"status"}), "2 running"));

    said({"pause", "1", "b"});
    EXPECT_TRUE(turnUntil([&] { return isListed("paused", "a") && isListed("paused", "b"); }));
    said({"resume", "2"});
    EXPECT_TRUE(turnUntil([&] { return isListed("running", "b") && isListed("paused", "a"); }));
    said({"move", "top", "2-3"});
    EXPECT_EQ(said({"list", "--names"}), "2\tb\n3\tc\n1\ta\n");
    said({"move", "down", "b"});
    EXPECT_EQ(said({"list", "--names"}), "3\tc\n2\tb\n1\ta\n");
    EXPECT_TRUE(has(complaint({"pause", "2", "9"}), "9 names no row"));
    EXPECT_TRUE(isListed("running", "b")) << "then nothing is done";

    said({"remove", "--data", "2"});
    EXPECT_FALSE(Disk::exists(file("b.trdownload"))) << "gone once that is answered";
    said({"remove", "1"});
    EXPECT_TRUE(Disk::exists(home.path("elsewhere/a.trdownload")));
    EXPECT_EQ(said({"list", "--names"}), "3\tc\n");
    EXPECT_TRUE(has(complaint({"move", "sideways", "3"}, 2), "sideways"));
}

TEST_F(VerbsTest, ARowKeepsItsNumberOverRetriesAndWatchersSeeItChange) {
    startApplication();
    said({"add", server.url(kSize, "status=404", "gone")});
    ASSERT_TRUE(turnUntil([&] { return isListed("failed", "gone"); }));
    EXPECT_TRUE(has(said({"list"}), "404"));
    const auto watcher = run({"watch", "--json"});
    ASSERT_TRUE(watcher->prints("\"gone\"")); // the row as it is
    const auto requests = server.requests().size();
    said({"retry", "failed"});
    ASSERT_TRUE(turnUntil([&] { return server.requests().size() > requests && isListed("failed", "gone"); }));
    EXPECT_EQ(said({"list", "--names"}), "1\tgone\n");
    said({"add", slow("next")});
    EXPECT_TRUE(watcher->prints("\"next\""));
    said({"remove", "1"});
    EXPECT_TRUE(watcher->prints(R"({"event":"gone","number":1})"));
    application->signal(SIGKILL);
    EXPECT_EQ(watcher->status(), 1) << "the application has gone";
}

TEST_F(VerbsTest, SettingsAreCheckedAndFollowedByTheRunningApplication) {
    startApplication();
    EXPECT_EQ(said({"settings", "DefaultConcurrency"}), "2\n");
    for (const auto& [key, value] : {std::pair("DefaultConcurrency", "many"),
                                     {"AutoStartAfterAdd", "perhaps"},
                                     {"ApplicationMode", "Nowhere"},
                                     {"SavedQueueSession", "x"},
                                     {"Nonsense", "1"}})
        complaint({"settings", key, value});
    said({"settings", "AutoStartAfterAdd", "no"});
    EXPECT_TRUE(has(contentOf(settings), "AutoStartAfterAdd=\"false\""));
    EXPECT_TRUE(has(contentOf(settings), "HasStartupCrash")) << "what the application wrote is kept";
    said({"add", slow("a")});
    EXPECT_TRUE(isListed("all", "a"));
    EXPECT_TRUE(has(said({"status"}), "Not started"));
    said({"start"});
    EXPECT_TRUE(turnUntil([&] { return isListed("running", "a"); }));
    said({"settings", "--reset", "DefaultConcurrency"});
    EXPECT_EQ(said({"settings", "DefaultConcurrency"}), "1\n");
    EXPECT_TRUE(has(said({"log", "-n", "200"}), "WARN"));
}

} // namespace tarvo::test
