// Both programs while a real server falls silent: they cost nothing, and end when they are told to.
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

constexpr std::int64_t kSize =
    600'000'000; // so that a processor without much else to do is not through in time

/// tarvo-get and the application without a window, each with the same download.
class SilentServer : public ::testing::Test {
protected:
    struct Run {
        std::string folder;
        int signal;
        std::chrono::milliseconds limit;
        int status;
        std::unique_ptr<Program> program;
    };

    void start(const std::string& url) {
        writeSettings(home, "AutoStartAfterAdd=true\n");
        runs.push_back({home.path("a"), SIGINT, 2s, 130,
                        std::make_unique<Program>(home, std::vector<std::string>{"-d", home.path("a"), url},
                                                  Surroundings{.program = TARVO_GET_PROGRAM})});
        runs.push_back({home.path("files"), SIGTERM, 5s, 0,
                        std::make_unique<Program>(home, std::vector<std::string>{"--headless", url})});
    }

    void waitForData() {
        for (const auto& run : runs) {
            const std::string data = run.folder + "/a.bin.trdownload/data";

            struct stat status {};

            EXPECT_TRUE(run.program->runsUntil([&] {
                return ::stat(data.c_str(), &status) == 0 && status.st_blocks > 1000;
            })) << run.program->problems();
        }
    }

    void endEach() {
        std::this_thread::sleep_for(500ms); // what is on its way
        std::vector<double> before;
        for (const auto& run : runs)
            before.push_back(run.program->processorTime());
        std::this_thread::sleep_for(1s);
        for (std::size_t i = 0; i < runs.size(); ++i)
            EXPECT_LT(runs[i].program->processorTime() - before[i], 0.05) << runs[i].folder;
        for (const auto& run : runs) {
            const double spent = run.program->processorTime();
            double now = spent;
            run.program->signal(run.signal);
            EXPECT_TRUE(run.program->runsUntil(
                [&] {
                    now = std::max(now, run.program->processorTime());
                    return run.program->status(0ms) >= 0;
                },
                run.limit))
                << run.program->problems();
            EXPECT_EQ(run.program->status(0ms), run.status) << run.program->problems();
            EXPECT_LT(now - spent, 0.5) << run.folder;
        }
        runs.clear();
    }

    template <class Server>
    void holdsNoProgramBack(const Server& server, const std::string& url) {
        server.addFile("a.bin", kSize);
        start(url);
        waitForData();
        server.freeze();
        endEach();
        start(url); // to a server that answers to nothing
        endEach();
    }

    TemporaryFolder home;
    std::vector<Run> runs;
};

} // namespace

TEST_F(SilentServer, OfTheWebHoldsNoProgramBack) {
    const NginxServer server;
    holdsNoProgramBack(server, server.tlsUrl("/a.bin"));
}

TEST_F(SilentServer, OfFtpHoldsNoProgramBack) {
    const VsftpdServer server;
    holdsNoProgramBack(server, server.url("/a.bin"));
}

TEST_F(SilentServer, OfSftpHoldsNoProgramBack) {
    const SshServer server;
    std::string url = server.url("a.bin");
    holdsNoProgramBack(server, url.insert(url.find("//") + 2, server.user() + ":secret@"));
}

} // namespace tarvo::test
