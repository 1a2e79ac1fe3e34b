// What the tests of whole downloads share: a server, the job's surroundings, and half a download.
#pragma once

#include "support/FaultServer.h"
#include "support/JobHarness.h"
#include "support/SampleData.h"

#include <gtest/gtest.h>

namespace tarvo::test {

/// A server that misbehaves on request, and jobs that download its one file.
class JobTest : public ::testing::Test {
protected:
    static constexpr std::int64_t kSize = 3'000'001;

    void TearDown() override { EXPECT_TRUE(server.problems().empty()); }

    /// A job that transfers for some seconds, and has brought `least` bytes.
    std::shared_ptr<CURLRemoteFile> runningJob(const std::string& url, std::int64_t least) {
        auto job = harness.job(url);
        harness.start(job);
        EXPECT_TRUE(turnUntil([&] { return job->totalBytesDownloaded() > least; }));
        return job;
    }

    /// Fetches part of the file and stops: what is left is a bundle with a good record.
    std::string leaveUnfinished(const std::string& knobs = "version=0") {
        const std::string url = server.url(kSize);
        server.change(path, knobs + "&rate=1000000");
        const auto job = runningJob(url, 500'000);
        job->pause();
        harness.onWorker([&] { EXPECT_TRUE(job->saveProgress()); });
        job->stop();
        EXPECT_TRUE(turnUntil([&] { return harness.workers.isIdle(); }));
        return url;
    }

    const std::string path = "/file/" + std::to_string(kSize) + "/sample.bin";
    FaultServer server;
    JobHarness harness;
    const std::string file = harness.folder.path("sample.bin");
    const std::string bundle = harness.folder.path("sample.bin.trdownload");
};

} // namespace tarvo::test
