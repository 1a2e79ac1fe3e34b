// A queue on a server of which a third of all answers fail: everything arrives, and nothing stays behind.
#include "base/SettingKeys.h"
#include "support/FaultServer.h"
#include "support/JobHarness.h"
#include "support/SampleData.h"
#include "support/UnattendedQueue.h"

#include <filesystem>

#include <gtest/gtest.h>
#include <spdlog/fmt/fmt.h>

namespace tarvo::test {

namespace {

constexpr std::int64_t kSize = 40'000;

std::ptrdiff_t entriesOf(const std::string& folder) {
    return std::distance(std::filesystem::directory_iterator(folder), {});
}

std::string nameOf(int number) {
    return fmt::format("file{:03}.bin", number);
}

/// Downloads files of these numbers as a queue and ends it; nothing of it is left but the files.
void runQueue(const JobHarness& harness, const FaultServer& server, int first, int end) {
    UnattendedQueue queue(harness.environment, nullptr, Seconds(0.05));
    for (int i = first; i < end; ++i)
        ASSERT_TRUE(queue.controller.addDownloads(
            {harness.job(server.url(kSize, fmt::format("random={}", i), nameOf(i)))}));
    queue.controller.toggleAutorun();
    const auto& files = queue.controller.remoteFiles();
    EXPECT_TRUE(turnUntil([&] { return files.succeededJobs() == files.content().size(); },
                          std::chrono::seconds(100)));
    bool ended = false;
    QObject::connect(&queue.controller, &QueueController::ended, [&] { ended = true; });
    queue.controller.quit();
    EXPECT_TRUE(turnUntil([&] { return ended; }));
}

} // namespace

TEST(QueueFaults, EverythingArrivesAndNothingStaysBehind) {
    constexpr int count = 100;
    FaultServer server;
    JobHarness harness;
    harness.transfers.probeTimeLimit = Seconds(0.15);
    harness.environment.stallTimeout = Seconds(0.3);
    harness.defaults.setForThisRun(SettingKey::kDefaultConcurrency, 8);
    // What this process has while no connection is open, on neither side of it.
    const auto threadsAndDescriptors = [&] {
        harness.transfers.connectionPools->closeIdle(TimePoint::max());
        server.stop();
        const std::pair counted{entriesOf("/proc/self/task"), entriesOf("/proc/self/fd")};
        server.start();
        return counted;
    };
    runQueue(harness, server, 0, 1); // for the threads that stay: those of the harness
    const auto before = threadsAndDescriptors();
    runQueue(harness, server, 1, count);
    EXPECT_EQ(threadsAndDescriptors(), before);
    for (int i = 0; i < count; ++i)
        EXPECT_EQ(fileIsSample(harness.folder.path(nameOf(i)), kSize), "") << nameOf(i);
    EXPECT_EQ(entriesOf(harness.folder.path()), count) << "files, and nothing else";
    EXPECT_TRUE(server.problems().empty());
}

} // namespace tarvo::test
