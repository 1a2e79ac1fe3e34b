// Both programs while a real server falls silent: they cost nothing, and end when they are told to.
#include "cli/Program.h"
#include "support/NginxServer.h"
#include "support/SshServer.h"
#include "support/VsftpdServer.h"

#include <csignal>
#include <memory>
#include <thread>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace tarvo::test {

namespace {

using namespace std::chrono_literals;

constexpr std::int64_t kSize = 600'000'000; // which no processor is through with in time

/// A program that downloads, and how it is told to end.
struct Run {
    std::unique_ptr<Program> program;
    int signal;
    std::chrono::milliseconds limit;
    int status;
};

/// tarvo-get and the application without a window, each with the same download.
std::vector<Run> startBoth(const TemporaryFolder& home, const std::string& url) {
    writeSettings(home, "AutoStartAfterAdd=true\n");
    std::vector<Run> runs;
    runs.push_back({std::make_unique<Program>(home, std::vector<std::string>{"-d", home.path("get"), url},
                                              Surroundings{.program = TARVO_GET_PROGRAM}),
                    SIGINT, 2s, 128 + SIGINT});
    runs.push_back(
        {std::make_unique<Program>(home, std::vector<std::string>{"--headless", url}), SIGTERM, 5s, 0});
    return runs;
}

void waitForData(const std::string& folder, Program& program) {
    EXPECT_TRUE(program.runsUntil([&] {
        struct stat status {};

        return ::stat((folder + "/a.bin.trdownload/data").c_str(), &status) == 0 && status.st_blocks > 1000;
    })) << program.problems();
}

/// Whether they take less than a twentieth of a processor, once what is on its way has been taken.
bool comeToRest(const std::vector<Run>& runs) {
    const auto spent = [&] {
        double sum = 0;
        for (const Run& run : runs)
            sum += run.program->processorTime();
        return sum;
    };
    for (int second = 0; second < 15; ++second) {
        const double before = spent();
        std::this_thread::sleep_for(1s);
        if (spent() - before < 0.05)
            return true;
    }
    return false;
}

void expectRestAndAnEnd(const std::vector<Run>& runs) {
    EXPECT_TRUE(comeToRest(runs));
    for (const Run& run : runs) {
        run.program->signal(run.signal);
        EXPECT_EQ(run.program->status(run.limit), run.status) << run.program->problems();
    }
}

template <class Server>
void expectToHoldNothingBack(const Server& server, const std::string& url) {
    server.addFile("a.bin", kSize);
    const TemporaryFolder home;
    const auto runs = startBoth(home, url);
    waitForData(home.path("get"), *runs[0].program);
    waitForData(home.path("files"), *runs[1].program);
    server.freeze();
    expectRestAndAnEnd(runs);
    expectRestAndAnEnd(startBoth(home, url)); // which no server answers
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
