// A queue whose program is killed again and again loses no download and gets none twice.
#include "cli/Program.h"
#include "support/FaultServer.h"
#include "support/SampleData.h"

#include <filesystem>
#include <random>
#include <set>

#include <gtest/gtest.h>
#include <spdlog/fmt/fmt.h>

namespace tarvo::test {

using namespace std::chrono_literals;

TEST(QueueKill, EveryFileComesOnceHoweverOftenTheProgramIsKilled) {
    constexpr std::int64_t size = 200'000;
    const TemporaryFolder home;
    const FaultServer server;
    const std::string settings =
        writeSettings(home, "AutoStartAfterAdd=true\nAutoQuitWhenTransfersComplete=true\n"
                            "DefaultConcurrency=4\nDefaultThreading=4\nMinimumChunkSize=1024\n");
    std::vector<std::string> arguments{"--headless"};
    std::set<std::string> names;
    for (int i = 0; i < 40; ++i) {
        const std::string name = fmt::format("file{:03}.bin", i);
        names.insert(name);
        arguments.push_back(server.url(size, "rate=40000", name));
    }
    // Each of these ends with SIGKILL.
    ASSERT_TRUE(Program(home, arguments).runsUntil([&] {
        return contentOf(settings).find(*names.rbegin()) != std::string::npos;
    }));
    std::mt19937 random(std::random_device{}());
    std::uniform_int_distribution<int> moment(200, 1500);
    for (int kill = 0; kill < 8; ++kill) {
        Program program(home, {"--headless"});
        ASSERT_EQ(program.status(std::chrono::milliseconds(moment(random))), -1) << program.problems();
    }
    Program last(home, {"--headless"});
    ASSERT_EQ(last.status(60s), 0) << last.problems();
    for (const auto& entry : std::filesystem::directory_iterator(home.path("files"))) {
        EXPECT_EQ(fileIsSample(entry.path(), size), "");
        EXPECT_EQ(names.erase(entry.path().filename()), 1u) << entry.path();
    }
    EXPECT_TRUE(names.empty());
}

} // namespace tarvo::test
