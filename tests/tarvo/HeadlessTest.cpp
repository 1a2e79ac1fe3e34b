// The application without a window, as its user meets it: one for all, fed from every side, and hard to stop.
#include "cli/Program.h"

#include "base/Disk.h"
#include "platform/ApplicationService.h"
#include "support/FaultServer.h"
#include "support/PrivateBus.h"
#include "support/SampleData.h"

#include <csignal>
#include <filesystem>

#include <gtest/gtest.h>

namespace tarvo::test {

namespace {

using namespace std::chrono_literals;

constexpr std::int64_t kSize = 3'000'001;

} // namespace

class HeadlessTest : public ::testing::Test {
protected:
    HeadlessTest() {
        std::filesystem::create_directories(home.path("XDG_CONFIG_HOME/tarvo"));
        home.write("XDG_CONFIG_HOME/tarvo/tarvo.conf",
                   "[General]\nAutoStartAfterAdd=true\nDefaultConcurrency=3\nDefaultDirectory=" +
                       home.path("files") + "\n");
    }

    std::unique_ptr<Program> run(const std::vector<std::string>& arguments) const {
        return std::make_unique<Program>(home, arguments, surroundings);
    }

    std::string file(const std::string& name) const { return home.path("files/" + name); }

    bool arrives(Program& program, const std::string& name) const {
        return program.runsUntil([&] { return Disk::exists(file(name)); }) &&
               fileIsSample(file(name), kSize).empty();
    }

    static void ends(Program& program) {
        program.signal(SIGTERM);
        EXPECT_EQ(program.status(5s), 0) << program.problems();
    }

    TemporaryFolder home;
    FaultServer server;
    Surroundings surroundings;
};

TEST_F(HeadlessTest, ASecondStartHandsOverAndLeaves) {
    const auto first = run({"--headless", server.url(kSize, "", "a")});
    ASSERT_TRUE(arrives(*first, "a"));
    const auto second = run({server.url(kSize, "", "b"), "--headless"});
    EXPECT_EQ(second->status(3s), 0) << second->problems();
    EXPECT_TRUE(arrives(*first, "b"));
    first->signal(SIGSTOP); // runs, and does not answer
    const auto third = run({server.url(kSize, "", "c")});
    EXPECT_EQ(third->status(10s), 1);
    EXPECT_NE(third->problems().find("does not answer"), std::string::npos) << third->problems();
    first->signal(SIGCONT);
    ends(*first);
    const auto next = run({"--headless"}); // the place is free again
    EXPECT_EQ(next->status(500ms), -1);
    next->signal(SIGKILL);
    EXPECT_EQ(next->status(), 128 + SIGKILL);
    const auto heir = run({"--headless", server.url(kSize, "", "d")});
    EXPECT_TRUE(arrives(*heir, "d"));
    ends(*heir);
}

TEST_F(HeadlessTest, GoesOnAfterAnEndOfAnyKind) {
    const std::string slow = server.url(kSize, "rate=60000", "slow");
    auto program = run({"--headless", slow});
    ASSERT_TRUE(program->runsUntil([&] { return server.bytesSent() > 600'000; }));
    ends(*program);
    const std::int64_t sent = server.bytesSent();
    program = run({"--headless"});
    ASSERT_TRUE(program->runsUntil([&] { return server.bytesSent() > sent + 300'000; }));
    program->signal(SIGKILL);
    EXPECT_EQ(program->status(), 128 + SIGKILL);
    server.change("/file/3000001/slow", "");
    program = run({"--headless"});
    EXPECT_TRUE(arrives(*program, "slow"));
    ends(*program);
    EXPECT_LT(server.bytesSent(), kSize + 1'500'000); // what had been saved was not fetched again
    EXPECT_FALSE(Disk::exists(file("slow (2)")));
}

TEST_F(HeadlessTest, TheDesktopOpensLinksWithIt) {
    PrivateBus bus;
    bus.start();
    surroundings.environment.push_back("DBUS_SESSION_BUS_ADDRESS=" + bus.address());
    const auto program = run({"--headless"});
    const auto call = [&](const char* method, const QVariantList& arguments) {
        return bus.call(ApplicationService::kName, ApplicationService::kPath, "org.freedesktop.Application",
                        method, arguments);
    };
    ASSERT_TRUE(program->runsUntil(
        [&] { return call("Activate", {QVariantMap()}).type() == QDBusMessage::ReplyMessage; }));
    const std::string call1 = R"({"urls":[{"href":")" + server.url(kSize, "", "a") + R"("}]})";
    const QString encoded = QString::fromLatin1(QByteArray::fromStdString(call1).toPercentEncoding());
    EXPECT_EQ(call("Open", {QStringList{"tarvo://add/" + encoded}, QVariantMap()}).type(),
              QDBusMessage::ReplyMessage);
    EXPECT_TRUE(arrives(*program, "a"));
    EXPECT_EQ(call("ActivateAction", {"toggle-autorun", QVariantList(), QVariantMap()}).type(),
              QDBusMessage::ReplyMessage);
    ends(*program);
}

TEST_F(HeadlessTest, ItsArgumentsShowNoPassword) {
    std::string url = server.url(kSize, "auth=basic", "a");
    url.insert(url.find("://") + 3, "bob:secret@");
    const auto program = run({"--headless", url});
    EXPECT_TRUE(arrives(*program, "a"));
    EXPECT_NE(program->commandLine().find("bob:"), std::string::npos) << program->commandLine();
    EXPECT_EQ(program->commandLine().find("secret"), std::string::npos) << program->commandLine();
    ends(*program);
}

TEST_F(HeadlessTest, QuitsByItselfWhenAllIsDoneIfThatIsWanted) {
    home.write("XDG_CONFIG_HOME/tarvo/tarvo.conf", "[General]\nAutoStartAfterAdd=true\n"
                                                   "AutoQuitWhenTransfersComplete=true\nDefaultDirectory=" +
                                                       home.path("files") + "\n");
    const auto program = run({"--headless", server.url(kSize, "rate=300000", "a")});
    EXPECT_EQ(program->status(), 0);
    EXPECT_EQ(fileIsSample(file("a"), kSize), "");
    EXPECT_EQ(run({"--nonsense"})->status(), 2);
}

} // namespace tarvo::test
