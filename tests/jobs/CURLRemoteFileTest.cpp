// Whole downloads against a server that behaves, and the rules of names, bundles and restoring.
#include "storage/ProgressFile.h"
#include "support/FaultServer.h"
#include "support/JobHarness.h"
#include "support/SampleData.h"

#include <filesystem>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace tarvo::test {

namespace {

constexpr std::int64_t kSize = 3'000'001;

mode_t modeOf(const std::string& path) {
    struct stat status {};

    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

} // namespace

class CURLRemoteFileTest : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_TRUE(server.problems().empty()); }

    /// Fetches part of the file and stops: what is left is a bundle with a good record.
    void leaveUnfinished(const std::string& url) {
        const auto job = harness.job(url);
        harness.start(job);
        EXPECT_TRUE(turnUntil([&] { return job->totalBytesDownloaded() > 300'000; }));
        job->pause();
        harness.onWorker([&] { EXPECT_TRUE(job->saveProgress()); });
        job->stop();
        EXPECT_TRUE(turnUntil([&] { return harness.workers.isIdle(); }));
    }

    FaultServer server;
    JobHarness harness;
};

TEST_F(CURLRemoteFileTest, FetchesAFileOverSeveralConnectionsAndLeavesOnlyTheFile) {
    const auto job = harness.job(server.url(kSize), 10);
    ASSERT_FALSE(harness.run(job));
    EXPECT_EQ(job->currentState(), rf_state_succeeded);
    EXPECT_EQ(fileIsSample(harness.folder.path("sample.bin"), kSize), "");
    EXPECT_FALSE(harness.exists("sample.bin.trdownload"));
    EXPECT_EQ(job->totalBytesDownloaded(), kSize);
    EXPECT_FALSE(job->supportsRecovery());
    EXPECT_EQ(job->activeFile(), harness.folder.path("sample.bin"));
    EXPECT_EQ(server.requests().size(), 12u); // HEAD, one byte, ten segments
}

TEST_F(CURLRemoteFileTest, SingleStreamsOfEveryKind) {
    for (const std::string knobs : {"norange", "nolength", "untilclose"}) {
        const auto job = harness.job(server.url(kSize, knobs, knobs + ".bin"), 10);
        ASSERT_FALSE(harness.run(job)) << knobs << ": " << job->error()->sentence();
        EXPECT_EQ(fileIsSample(harness.folder.path(knobs + ".bin"), kSize), "") << knobs;
    }
    for (const std::int64_t size : {0, 1, 2}) {
        const std::string name = std::to_string(size) + ".bin";
        const auto job = harness.job(server.url(size, "", name), 10);
        ASSERT_FALSE(harness.run(job)) << name << ": " << job->error()->sentence();
        EXPECT_EQ(fileIsSample(harness.folder.path(name), size), "");
    }
}

TEST_F(CURLRemoteFileTest, ARestoredBundleKeepsItsNameItsAddressAndItsProgress) {
    const std::string url =
        server.url(kSize, "rate=400000&disposition=" + knobValue("attachment; filename=other.bin"));
    auto first = harness.job(url, 3);
    first->setOverridenFileName("mine.bin");
    first->setReferer(Url::parse("http://page.example/"));
    ASSERT_FALSE(harness.prepare(first));
    first->stop();
    const auto job = harness.jobFromBundle("mine.bin");
    ASSERT_EQ(job->currentState(), rf_state_initializing);
    EXPECT_EQ(job->identity(), url);
    EXPECT_EQ(job->userRequestedPartitions(), 3);
    server.change("/file/" + std::to_string(kSize) + "/sample.bin",
                  "disposition=" + knobValue("attachment; filename=other.bin"));
    ASSERT_FALSE(harness.run(job));
    EXPECT_EQ(fileIsSample(harness.folder.path("mine.bin"), kSize), "");
    EXPECT_EQ(server.requests().back().header("referer"), "http://page.example/");
}

TEST_F(CURLRemoteFileTest, ABundleLeftBesideItsFinishedFileIsClearedAway) {
    const auto interrupted = harness.job(server.url(kSize));
    harness.disk.failOn("flushFolder", 1, EIO, false); // the name is there, whether it stays or not
    EXPECT_TRUE(harness.run(interrupted)->is(ErrorDomain::Posix, EIO));
    ASSERT_TRUE(harness.exists("sample.bin.trdownload"));
    const auto requests = server.requests().size();
    const auto job = harness.jobFromBundle("sample.bin");
    EXPECT_FALSE(harness.prepare(job));
    EXPECT_EQ(job->currentState(), rf_state_succeeded);
    EXPECT_EQ(job->finalFilePath(), harness.folder.path("sample.bin"));
    EXPECT_EQ(fileIsSample(*job->finalFilePath(), kSize), "");
    EXPECT_EQ(job->totalBytesDownloaded(), kSize);
    EXPECT_FALSE(job->supportsRecovery() || harness.exists("sample.bin.trdownload"));
    EXPECT_EQ(server.requests().size(), requests);

    const auto other = harness.job(server.url(kSize, "", "other.bin"));
    ASSERT_FALSE(harness.prepare(other));
    other->stop();
    std::filesystem::remove(harness.folder.path("other.bin.trdownload/data"));
    harness.folder.write("other.bin", "of another size: not what the bundle was for");
    const auto again = harness.jobFromBundle("other.bin");
    ASSERT_FALSE(harness.run(again));
    EXPECT_EQ(fileIsSample(harness.folder.path("other (2).bin"), kSize), "");
}

TEST_F(CURLRemoteFileTest, CanBeRecoveredOnceItsFirstRecordIsOnTheDisk) {
    const auto job = harness.job(server.url(kSize));
    EXPECT_FALSE(job->supportsRecovery());
    harness.disk.failOn("replaceFile", 1, ENOSPC);
    EXPECT_TRUE(harness.prepare(job));
    EXPECT_TRUE(harness.exists("sample.bin.trdownload"));
    EXPECT_FALSE(job->supportsRecovery()) << "a bundle without a record can't be restored";
    harness.disk.recover();
    EXPECT_FALSE(harness.prepare(job));
    EXPECT_TRUE(job->supportsRecovery());
    EXPECT_EQ(job->fileName(), "sample.bin") << "the same bundle";
    job->stop();
    EXPECT_TRUE(job->copy()->supportsRecovery());
    EXPECT_TRUE(harness.jobFromBundle("sample.bin")->supportsRecovery());
}

TEST_F(CURLRemoteFileTest, WhatHasTheNameIsLeftAloneWheneverItCame) {
    harness.folder.write("sample.bin", "mine");
    harness.folder.write("sample (2).bin", "mine too");
    const auto job = harness.job(server.url(kSize));
    ASSERT_FALSE(harness.prepare(job));
    EXPECT_EQ(job->fileName(), "sample (3).bin");
    harness.folder.write("sample (3).bin", "foreign");
    harness.onWorker([&] { job->downloadAndBlock(); });
    EXPECT_EQ(contentOf(harness.folder.path("sample.bin")), "mine");
    EXPECT_EQ(contentOf(harness.folder.path("sample (3).bin")), "foreign");
    EXPECT_EQ(fileIsSample(*job->finalFilePath(), kSize), "");
}

TEST_F(CURLRemoteFileTest, ABundleOfAnotherFileIsRefusedAndKept) {
    leaveUnfinished(server.url(kSize, "rate=400000"));
    const std::string before = contentOf(harness.folder.path("sample.bin.trdownload/data"));
    const auto other = harness.job(server.url(kSize + 1));
    const auto problem = harness.run(other);
    ASSERT_TRUE(problem);
    EXPECT_TRUE(problem->is(ErrorDomain::RemoteFile, kRemoteFileProgressMismatch));
    EXPECT_FALSE(problem->recoverySuggestion.empty());
    EXPECT_EQ(contentOf(harness.folder.path("sample.bin.trdownload/data")), before);
}

TEST_F(CURLRemoteFileTest, ACopyStaysTheSameDownloadWhateverItsBundleSays) {
    const std::string url = server.url(kSize, "rate=400000");
    const auto job = harness.job(url, 7);
    ASSERT_FALSE(harness.prepare(job));
    const std::string record = harness.folder.write("sample.bin.trdownload/progress", "not a record");
    const auto copy = job->copy();
    EXPECT_EQ(copy->identity(), url);
    EXPECT_EQ(copy->userRequestedPartitions(), 7);
    EXPECT_EQ(copy->basePath(), harness.folder.path());
    EXPECT_EQ(copy->fileName(), "sample.bin");
    EXPECT_EQ(copy->currentState(), rf_state_initializing);
    const ProgressState foreign{
        *Url::parse("http://elsewhere.example/x"), 5, std::make_shared<ProgressData>(5), {}, 1};
    ASSERT_TRUE(ProgressFile(record, harness.disk).writeData(foreign));
    EXPECT_EQ(job->copy()->identity(), url);
    job->stop();
}

TEST_F(CURLRemoteFileTest, ARecordIsNotBelievedBeyondTheDataFile) {
    const std::string url = server.url(kSize, "rate=400000");
    leaveUnfinished(url);
    std::filesystem::resize_file(harness.folder.path("sample.bin.trdownload/data"), 1000);
    server.change("/file/" + std::to_string(kSize) + "/sample.bin", "");
    ASSERT_FALSE(harness.run(harness.job(url)));
    EXPECT_EQ(fileIsSample(harness.folder.path("sample.bin"), kSize), "");
}

TEST_F(CURLRemoteFileTest, AFreshRecordStartsFromAnEmptyDataFile) {
    std::filesystem::create_directory(harness.folder.path("sample.bin.trdownload"));
    harness.folder.write("sample.bin.trdownload/data", std::string(kSize + 1000, 'x'));
    ASSERT_FALSE(harness.run(harness.job(server.url(kSize, "untilclose"))));
    EXPECT_EQ(fileIsSample(harness.folder.path("sample.bin"), kSize), "");
}

TEST_F(CURLRemoteFileTest, TheBundleIsForItsOwnerAndTheFileForEverybody) {
    const auto job = harness.job(server.url(kSize));
    ASSERT_FALSE(harness.prepare(job));
    EXPECT_EQ(modeOf(harness.folder.path("sample.bin.trdownload")), 0700u);
    EXPECT_EQ(modeOf(harness.folder.path("sample.bin.trdownload/data")), 0600u);
    EXPECT_EQ(modeOf(harness.folder.path("sample.bin.trdownload/progress")), 0600u);
    harness.onWorker([&] { job->downloadAndBlock(); });
    const mode_t mask = ::umask(0);
    ::umask(mask);
    EXPECT_EQ(modeOf(harness.folder.path("sample.bin")), 0666u & ~mask);
}

TEST_F(CURLRemoteFileTest, MovesAndRemovesWhatItHasOnDisk) {
    const auto job = harness.job(server.url(kSize));
    ASSERT_FALSE(harness.prepare(job));
    std::filesystem::create_directory(harness.folder.path("elsewhere"));
    ASSERT_TRUE(job->moveBundleTo(harness.folder.path("elsewhere")));
    EXPECT_TRUE(harness.exists("elsewhere/sample.bin.trdownload/progress"));
    EXPECT_FALSE(harness.exists("sample.bin.trdownload"));
    const auto copy = job->copy();
    job->stop();
    ASSERT_FALSE(harness.run(copy));
    EXPECT_EQ(fileIsSample(harness.folder.path("elsewhere/sample.bin"), kSize), "");
    EXPECT_FALSE(copy->removeFiles());
    EXPECT_FALSE(harness.exists("elsewhere/sample.bin"));
}

} // namespace tarvo::test
