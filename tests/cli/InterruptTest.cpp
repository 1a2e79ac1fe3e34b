// Ctrl-C, kill -9 and the terminal's closing: how fast it ends, and what the next run has to fetch again.
#include "platform/Interrupt.h"
#include "ProgramTest.h"
#include "support/ServerProcess.h"
#include "support/Text.h"

#include <csignal>
#include <filesystem>
#include <iostream>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tarvo::test {

namespace {

using namespace std::chrono_literals;

constexpr auto kAtOnce = 3s; // a second, and what a busy machine takes
constexpr std::int64_t kSize = 3'000'001;

} // namespace

class InterruptTest : public ProgramTest {
protected:
    /// Lets it run until the record would have something to tell, and interrupts it.
    void runAndInterrupt(const std::vector<std::string>& own) {
        const std::int64_t before = server.bytesSent();
        Program program(home, arguments(own));
        ASSERT_TRUE(program.runsUntil([&] { return server.bytesSent() > before + 300'000; }))
            << program.problems();
        program.signal(SIGINT);
        ASSERT_EQ(program.status(kAtOnce), 130) << program.problems();
        EXPECT_TRUE(has(program.problems(), "progress is saved in \"" + bundle() + "\""));
    }

    /// The run that ends it, which fetches what the record does not claim and nothing else.
    void runToTheEnd(const std::vector<std::string>& own, std::int64_t saved, const std::string& result) {
        server.change("/file/3000001/sample.bin", "");
        const std::int64_t sent = server.bytesSent();
        Program program(home, arguments(own));
        ASSERT_EQ(program.status(), 0) << program.problems();
        EXPECT_EQ(fileIsSample(result, kSize), "");
        EXPECT_EQ(server.bytesSent() - sent, kSize - saved + 1); // the probe's byte
    }

    std::string slow = server.url(kSize, "rate=100000");
};

TEST_F(InterruptTest, TheSameCommandOrItsMovedBundleContinuesAndFetchesNothingTwice) {
    runAndInterrupt({"-x", "5", slow});
    const std::int64_t first = savedBytes(bundle());
    EXPECT_GT(first, 100'000);
    runAndInterrupt({"-x", "5", slow});
    const std::int64_t second = savedBytes(bundle());
    EXPECT_GT(second, first);
    const std::string moved = home.path("elsewhere/renamed.bin");
    std::filesystem::create_directory(home.path("elsewhere"));
    std::filesystem::rename(bundle(), moved + ".trdownload");
    runToTheEnd({moved + ".trdownload/"}, second, moved);
    EXPECT_FALSE(Disk::exists(moved + ".trdownload"));
    EXPECT_FALSE(Disk::exists(file()));

    Program gone(home, arguments({bundle()}));
    EXPECT_EQ(gone.status(), 1);
    EXPECT_TRUE(has(gone.problems(), bundle() + "\": No such file or directory"));
}

TEST_F(InterruptTest, SigtermAndAClosedTerminalSaveToo) {
    for (const bool closes : {false, true}) {
        const std::int64_t before = server.bytesSent();
        Program program(home, arguments({slow}), {.terminal = closes});
        ASSERT_TRUE(program.runsUntil([&] { return server.bytesSent() > before + 300'000; }));
        if (closes)
            program.closeInput();
        else
            program.signal(SIGTERM);
        EXPECT_EQ(program.status(kAtOnce), 130);
        EXPECT_GT(savedBytes(bundle()), closes ? 300'000 : 100'000);
    }
}

TEST_F(InterruptTest, AReaderThatReadsNoMoreDoesNotHoldItBack) {
    // A pipe that takes one more line and is not read.
    const auto* const fill =
        "mkfifo \"$0\" && exec 3<>\"$0\" && head -c 65236 /dev/zero >&3 && exec \"$@\" >&3";
    std::vector<std::string> command{"-c", fill, home.path("pipe"), TARVO_PROGRAM, "--json"};
    for (const auto& argument : arguments({slow}))
        command.push_back(argument);
    Program program(home, command, {.program = "/bin/sh"});                       // it waits to be read
    ASSERT_TRUE(program.runsUntil([&] { return server.bytesSent() > 500'000; })); // half a second
    program.signal(SIGINT);
    EXPECT_EQ(program.status(kAtOnce), 130);
    EXPECT_GT(savedBytes(bundle()), 300'000);
}

TEST_F(InterruptTest, ANameServerThatDoesNotAnswerDoesNotHoldItBack) {
    const std::string unshare = programPath("unshare", "util-linux");
    Program allowed(home, {"-m", "true"}, {.program = unshare});
    if (::geteuid() != 0 || allowed.status() != 0)
        GTEST_SKIP() << "needs the right to a mount namespace and to port 53";
    sockaddr_in place{.sin_family = AF_INET, .sin_port = htons(53), .sin_addr = {}, .sin_zero = {}};
    ::inet_pton(AF_INET, loopbackAddress().c_str(), &place.sin_addr);
    const FileHandle nameServer(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    ASSERT_EQ(::bind(nameServer.descriptor(), reinterpret_cast<sockaddr*>(&place), sizeof place), 0);
    const std::string settings =
        home.write("resolv.conf", "nameserver " + loopbackAddress() + "\noptions timeout:20 attempts:1\n");
    Program program(home,
                    {"-m", "sh", "-c", "mount --bind \"$1\" /etc/resolv.conf && exec \"$2\" -d \"$3\" \"$4\"",
                     "sh", settings, TARVO_PROGRAM, files, "http://nowhere.example/a.bin"},
                    {.program = unshare});
    char question[512];
    ASSERT_TRUE(program.runsUntil([&] {
        return ::recv(nameServer.descriptor(), question, sizeof question, 0) > 0;
    })) << program.problems();
    program.signal(SIGINT);
    EXPECT_EQ(program.status(kAtOnce), 130) << program.problems();
}

TEST(Interrupt, TheSecondSignalEndsTheProcessAtOnceAndOneThatWasIgnoredDoesNotCount) {
    EXPECT_EXIT(
        {
            ::signal(SIGHUP, SIG_IGN); // as nohup(1) does
            const Interrupt interrupt([] {});
            for (const int number : {SIGHUP, SIGHUP, SIGINT})
                ::raise(number);
            std::cerr << "still here";
            ::raise(SIGTERM);
        },
        ::testing::ExitedWithCode(130), "still here");
}

TEST_F(InterruptTest, KilledItLosesOnlyWhatWasNotSaved) {
    server.change("/file/3000001/sample.bin", "rate=40000"); // 200 kB/s in all: the end is 15 s away
    Program program(home, arguments({"-x", "5", slow}));
    EXPECT_EQ(program.status(11s + 500ms), -1) << program.problems();
    program.signal(SIGKILL);
    EXPECT_EQ(program.status(), 128 + SIGKILL);
    const std::int64_t saved = savedBytes(bundle());
    EXPECT_GT(saved, 1'000'000); // the tenth second's record
    runToTheEnd({"-x", "5", slow}, saved, file());
}

} // namespace tarvo::test
