// Files that real servers exchange for others of the same size, at any moment: never a file of two versions.
#include "support/JobHarness.h"
#include "support/NginxServer.h"
#include "support/SampleData.h"
#include "support/SshServer.h"
#include "support/VsftpdServer.h"

#include <random>

#include <gtest/gtest.h>
#include <spdlog/fmt/fmt.h>

namespace tarvo::test {

namespace {

constexpr std::int64_t kSize = 24'000'003;
constexpr int kMoments = 4; // a server and run of the test; --gtest_repeat makes more of them

using Token = std::shared_ptr<const TRAuthToken>;

} // namespace

class ReplacedFile : public ::testing::Test {
protected:
    void checkMoments(const FileServer& server, const std::string& url, const Token& token = nullptr) {
        std::uniform_int_distribution<int> milliseconds(0, 150);
        for (int i = 0; i < kMoments; ++i) {
            const auto moment = std::chrono::milliseconds(milliseconds(random));
            const bool isBetweenRuns = i % 2 == 0;
            SCOPED_TRACE(fmt::format("{} after {} ms, {}", url, moment.count(),
                                     isBetweenRuns ? "between two runs" : "while it runs"));
            server.replaceFile("a.bin", kSize, 1);
            std::shared_ptr<RemoteFile> job = harness.job(url, 5);
            harness.workers.async([job, token] {
                if (job->makeReadyAndBlock(token))
                    job->downloadAndBlock();
            });
            turnUntil([] { return false; }, moment);
            if (isBetweenRuns) {
                job->pause();
                harness.onWorker([&] { job->saveProgress(); });
                job->stop();
                ASSERT_TRUE(turnUntil([&] { return harness.workers.isIdle(); }));
            }
            server.replaceFile("a.bin", kSize, 2);
            ASSERT_TRUE(turnUntil([&] { return harness.workers.isIdle(); }));
            for (int attempt = 0; attempt < 5 && job->currentState() != rf_state_succeeded; ++attempt) {
                job = job->copy();
                harness.run(job, token);
            }
            ASSERT_EQ(job->currentState(), rf_state_succeeded) << job->error()->sentence();
            const std::string file = *job->finalFilePath();
            EXPECT_TRUE(fileIsSample(file, kSize, 1).empty() || fileIsSample(file, kSize, 2).empty());
            harness.disk.removeTree(harness.folder.path("a.bin"));
        }
    }

    JobHarness harness;
    std::mt19937 random{std::random_device()()};
};

TEST_F(ReplacedFile, IsNeverMixedFromTheWeb) {
    const NginxServer server;
    checkMoments(server, server.url("/a.bin"));
    checkMoments(server, server.url("/untagged/a.bin"));
}

TEST_F(ReplacedFile, IsNeverMixedFromFtp) {
    const VsftpdServer server;
    checkMoments(server, server.url("/a.bin"));
}

TEST_F(ReplacedFile, IsNeverMixedFromSftp) {
    const SshServer server;
    checkMoments(server, server.url("a.bin"),
                 std::make_shared<const TRAuthToken>(server.service(), server.user(), "secret"));
}

} // namespace tarvo::test
