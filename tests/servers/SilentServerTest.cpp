// A program whose server falls silent: it costs nothing, and ends when it is told to.
#include "cli/Program.h"
#include "support/NginxServer.h"
#include "support/SshServer.h"
#include "support/VsftpdServer.h"

#include <csignal>
#include <thread>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace tarvo::test {

namespace {

using namespace std::chrono_literals;

constexpr std::int64_t kSize = 600'000'000; // which no processor is through with in time

void expectRestAndAnEnd(Program& program) {
    std::this_thread::sleep_for(500ms); // what is on its way
    const double before = program.processorTime();
    std::this_thread::sleep_for(1s);
    EXPECT_LT(program.processorTime() - before, 0.05);
    program.signal(SIGINT);
    EXPECT_EQ(program.status(2s), 128 + SIGINT) << program.problems();
}

template <class Server>
void expectToHoldNothingBack(const Server& server, const std::string& url) {
    server.addFile("a.bin", kSize);
    const TemporaryFolder home;
    const std::vector<std::string> arguments{"-d", home.path("files"), url};
    const Surroundings surroundings{.program = TARVO_GET_PROGRAM};
    const std::string data = home.path("files/a.bin.trdownload/data");
    Program program(home, arguments, surroundings);
    EXPECT_TRUE(program.runsUntil([&] {
        struct stat status {};

        return ::stat(data.c_str(), &status) == 0 && status.st_blocks > 1000;
    })) << program.problems();
    server.freeze();
    expectRestAndAnEnd(program);
    Program next(home, arguments, surroundings); // which no server answers
    expectRestAndAnEnd(next);
}

} // namespace

TEST(SilentServer, OfTheWebHoldsNothingBack) {
    const NginxServer server;
    expectToHoldNothingBack(server, server.tlsUrl("/a.bin"));
}

TEST(SilentServer, OfFtpHoldsNothingBack) {
    const VsftpdServer server;
    expectToHoldNothingBack(server, server.url("/a.bin"));
}

TEST(SilentServer, OfSftpHoldsNothingBack) {
    const SshServer server;
    std::string url = server.url("a.bin");
    expectToHoldNothingBack(server, url.insert(url.find("//") + 2, server.user() + ":secret@"));
}

} // namespace tarvo::test
