// Whole downloads against a server that behaves, and the rules of names, bundles and restoring.
#include "jobs/RenameJob.h"
#include "storage/ProgressFile.h"
#include "support/JobTest.h"
#include "support/Text.h"

#include <cerrno>
#include <filesystem>

#include <QTimer>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>

namespace tarvo::test {

namespace {

struct stat statusOf(const std::string& path) {
    struct stat status {};

    ::stat(path.c_str(), &status);
    return status;
}

mode_t modeOf(const std::string& path) {
    return statusOf(path).st_mode & 07777;
}

std::string attributeOf(const std::string& path, const char* name) {
    char value[4096];
    const ssize_t length = ::getxattr(path.c_str(), name, value, sizeof value);
    return length < 0 ? "no attribute" : std::string(value, static_cast<std::size_t>(length));
}

} // namespace

class CURLRemoteFileTest : public JobTest {
protected:
    void removeFilesOf(const std::shared_ptr<CURLRemoteFile>& job) {
        EXPECT_TRUE(harness.onWorker([&] { job->removeFiles(); }));
    }
};

TEST_F(CURLRemoteFileTest, FetchesAFileOverSeveralConnectionsAndLeavesOnlyTheFile) {
    const std::string url = server.url(kSize);
    const auto job = harness.job(std::string(url).insert(7, "bob:secret@"), 10);
    ASSERT_FALSE(harness.run(job));
    EXPECT_EQ(job->currentState(), rf_state_succeeded);
    EXPECT_EQ(attributeOf(file, "user.xdg.origin.url"), url);
    const std::string list = attributeOf(file, "user.com.apple.metadata:kMDItemWhereFroms");
    EXPECT_TRUE(list.starts_with("bplist00") && has(list, url));
    EXPECT_FALSE(has(list, "secret"));
    EXPECT_EQ(fileIsSample(file, kSize), "");
    EXPECT_FALSE(harness.exists("sample.bin.trdownload"));
    EXPECT_EQ(job->totalBytesDownloaded(), kSize);
    EXPECT_FALSE(job->supportsRecovery());
    EXPECT_EQ(job->activeFile(), file);
    EXPECT_EQ(server.requests().size(), 12u); // HEAD, one byte, ten segments
}

TEST_F(CURLRemoteFileTest, TellsWhichBytesAreThereAndWhichAreOnTheirWay) {
    server.change(path, "rate=1000000");
    const auto job = runningJob(server.url(kSize), 500'000);
    job->pause(); // so that nothing changes between two looks
    ASSERT_TRUE(turnUntil([&, last = std::int64_t(-1)]() mutable {
        return std::exchange(last, job->totalBytesDownloaded()) == job->totalBytesDownloaded();
    }));
    std::optional<SegmentsSnapshot> look;
    ASSERT_TRUE(turnUntil([&] { return (look = job->segments()).has_value(); }));
    EXPECT_EQ(look->fileSize, kSize);
    ASSERT_EQ(look->connections.size(), 4u);
    std::int64_t done = 0;
    std::int64_t brought = 0;
    for (const auto& span : look->done)
        done += span.to - span.from;
    for (const auto& connection : look->connections)
        brought += connection.current - connection.from;
    EXPECT_GT(done, 500'000);
    EXPECT_GE(brought, done) << "what has come may still wait to be written";
    EXPECT_EQ(job->finishedDate(), std::nullopt);
    EXPECT_TRUE(job->addedDate());
    EXPECT_EQ(job->copy()->addedDate(), job->addedDate());
    server.change(path, "version=0");
    job->stop();
    ASSERT_TRUE(turnUntil([&] { return harness.workers.isIdle(); }));

    const auto whole = harness.job(server.url(kSize));
    ASSERT_FALSE(harness.run(whole));
    ASSERT_TRUE(turnUntil([&] { return (look = whole->segments()).has_value(); }));
    EXPECT_EQ(look->done, std::vector<ByteSpan>({{0, kSize}}));
    EXPECT_TRUE(look->connections.empty());
    EXPECT_TRUE(whole->finishedDate());
}

TEST_F(CURLRemoteFileTest, SingleStreamsOfEveryKind) {
    const std::pair<std::int64_t, std::string> cases[] = {
        {kSize, "norange"}, {kSize, "nolength"}, {kSize, "untilclose"}, {0, ""}, {1, ""}, {2, ""}};
    for (const auto& [size, knobs] : cases) {
        const auto job = harness.job(server.url(size, knobs, std::to_string(size) + knobs), 10);
        ASSERT_FALSE(harness.run(job)) << size << knobs << ": " << job->error()->sentence();
        EXPECT_EQ(fileIsSample(*job->finalFilePath(), size), "") << size << knobs;
    }
}

TEST_F(CURLRemoteFileTest, ARestoredBundleKeepsItsNameItsAddressAndItsProgress) {
    const std::string knobs = "disposition=" + knobValue("attachment; filename=other.bin") +
                              "&referer=" + knobValue("http://page.example/");
    const std::string url = server.url(kSize, "rate=400000&" + knobs);
    EXPECT_TRUE(harness.run(harness.job(url))->is(ErrorDomain::CurlHttp, 403));
    const auto first = CURLRemoteFile::make(
        {.url = Url::parse(url),
         .folder = harness.folder.path(),
         .facts = {.referer = Url::parse("http://page.example/"), .requestedPartitions = 3},
         .name = "mine.bin"},
        harness.environment);
    ASSERT_FALSE(harness.prepare(first));
    first->stop();
    const auto job = harness.jobFromBundle("mine.bin");
    ASSERT_EQ(job->currentState(), rf_state_initializing);
    EXPECT_EQ(job->identity(), url);
    EXPECT_EQ(job->userRequestedPartitions(), 3);
    server.change(path, knobs);
    ASSERT_FALSE(harness.run(job));
    EXPECT_EQ(fileIsSample(harness.folder.path("mine.bin"), kSize), "");
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
    EXPECT_EQ(job->finalFilePath(), file);
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

TEST_F(CURLRemoteFileTest, WhatTheSavedQueueDidNotKnowToHaveFinishedIsNotFetchedTwice) {
    const auto first = harness.job(server.url(kSize));
    const auto link = first->link();
    ASSERT_FALSE(harness.run(first));
    const auto restored = CURLRemoteFile::make(originOfLink(*link), harness.environment);
    EXPECT_FALSE(harness.prepare(restored));
    EXPECT_EQ(restored->currentState(), rf_state_succeeded);
    EXPECT_EQ(restored->finalFilePath(), file);
    ASSERT_FALSE(harness.run(harness.job(server.url(kSize)))); // asked for once more
    EXPECT_TRUE(harness.exists("sample (2).bin"));
    ASSERT_FALSE(harness.run(CURLRemoteFile::make( // of the same size and name, from elsewhere
        originOfLink({*Url::parse(server.url(kSize, "version=0")), harness.folder.path()}),
        harness.environment)));
    EXPECT_TRUE(harness.exists("sample (3).bin"));
}

TEST_F(CURLRemoteFileTest, CanBeRecoveredOnceItsFirstRecordIsOnTheDisk) {
    const auto job = harness.job(server.url(kSize));
    harness.disk.failOn("replaceFile", 1, ENOSPC);
    EXPECT_TRUE(harness.prepare(job));
    EXPECT_TRUE(harness.exists("sample.bin.trdownload"));
    EXPECT_FALSE(job->supportsRecovery()) << "a bundle without a record can't be restored";
    harness.disk.recover();
    EXPECT_FALSE(harness.prepare(job));
    EXPECT_TRUE(job->supportsRecovery());
    EXPECT_EQ(job->fileName(), "sample.bin") << "the same bundle";
    job->stop();
    EXPECT_TRUE(harness.jobFromBundle("sample.bin")->supportsRecovery());
}

TEST_F(CURLRemoteFileTest, WhatHasTheNameIsLeftAloneWheneverItCame) {
    harness.folder.write("sample.bin", "mine");
    harness.folder.write("sample (2).bin", "mine too");
    // What has a bundle's name and is no folder.
    const auto other = harness.folder.write("sample (3).bin.trdownload", "a file");
    std::filesystem::create_symlink(harness.folder.path("nowhere"),
                                    harness.folder.path("sample (4).bin.trdownload"));
    const auto job = harness.job(server.url(kSize));
    ASSERT_FALSE(harness.prepare(job)) << job->error()->sentence();
    EXPECT_EQ(job->fileName(), "sample (5).bin");
    EXPECT_EQ(contentOf(other), "a file");
    EXPECT_FALSE(harness.exists("nowhere"));
    harness.folder.write("sample (5).bin", "foreign");
    harness.onWorker([&] { job->downloadAndBlock(); });
    EXPECT_EQ(contentOf(file), "mine");
    EXPECT_EQ(contentOf(harness.folder.path("sample (5).bin")), "foreign");
    EXPECT_EQ(fileIsSample(*job->finalFilePath(), kSize), "");
}

TEST_F(CURLRemoteFileTest, ABundleOfAnotherFileIsRefusedAndKept) {
    leaveUnfinished();
    const std::string before = contentOf(bundle + "/data");
    const auto other = harness.job(server.url(kSize + 1));
    const auto problem = harness.run(other);
    ASSERT_TRUE(problem);
    EXPECT_TRUE(problem->is(ErrorDomain::RemoteFile, kRemoteFileProgressMismatch));
    EXPECT_FALSE(problem->recoverySuggestion.empty());
    removeFilesOf(other);
    EXPECT_EQ(contentOf(bundle + "/data"), before);
}

TEST_F(CURLRemoteFileTest, RemovingLeavesABundleThatAnotherJobWorksOn) {
    const std::string url = server.url(kSize, "rate=400000");
    const auto working = harness.job(url);
    harness.start(working);
    const auto refused = harness.job(url); // as a second program would have it
    const auto restored = harness.jobFromBundle("sample.bin");
    for (const auto& job : {refused, restored}) {
        EXPECT_TRUE(harness.prepare(job)->is(ErrorDomain::Posix, EWOULDBLOCK));
        removeFilesOf(job);
    }
    EXPECT_TRUE(turnUntil([&] { return harness.workers.isIdle(); }));
    EXPECT_FALSE(working->error());
    EXPECT_EQ(fileIsSample(file, kSize), "");
}

TEST_F(CURLRemoteFileTest, RemovingWaitsForTheEndOfWhatIsUnderWay) {
    const auto job = harness.job(server.url(kSize));
    ASSERT_FALSE(harness.prepare(job));
    harness.disk.holdNext("flushFolder"); // the file has its final name then, and the job does not know it
    job->resumeOrStart(harness.workers);
    ASSERT_TRUE(turnUntil([&] { return harness.disk.isHolding(); }));
    job->stop();
    QTimer::singleShot(200, [&] { harness.disk.letGoOn(); });
    removeFilesOf(job);
    EXPECT_FALSE(harness.exists("sample.bin"));
    EXPECT_FALSE(harness.exists("sample.bin.trdownload"));
}

TEST_F(CURLRemoteFileTest, ACopyStaysTheSameDownloadWhateverItsBundleSays) {
    const std::string url = server.url(kSize, "rate=400000");
    const auto job = harness.job(url, 7);
    ASSERT_FALSE(harness.prepare(job));
    const ProgressState foreign{
        *Url::parse("http://elsewhere.example/x"), 5, std::make_shared<ProgressData>(5), {}, 1};
    ASSERT_TRUE(ProgressFile(bundle + "/progress", harness.disk).writeData(foreign));
    const auto copy = job->copy();
    EXPECT_EQ(copy->identity(), url);
    EXPECT_EQ(copy->userRequestedPartitions(), 7);
    EXPECT_EQ(copy->activeFile(), bundle);
    job->stop();
}

TEST_F(CURLRemoteFileTest, NoRecordIsBelievedBeyondTheDataFileAndNoDataWithoutARecord) {
    const std::string url = leaveUnfinished();
    std::filesystem::resize_file(bundle + "/data", 1000);
    server.change(path, "");
    ASSERT_FALSE(harness.run(harness.job(url)));
    EXPECT_EQ(fileIsSample(file, kSize), "");
    std::filesystem::create_directory(harness.folder.path("other.bin.trdownload"));
    harness.folder.write("other.bin.trdownload/data", std::string(kSize + 1000, 'x'));
    ASSERT_FALSE(harness.run(harness.job(server.url(kSize, "untilclose", "other.bin"))));
    EXPECT_EQ(fileIsSample(harness.folder.path("other.bin"), kSize), "");
}

TEST_F(CURLRemoteFileTest, TheBundleIsForItsOwnerAndTheFileForEverybody) {
    const auto job = harness.job(server.url(kSize));
    ASSERT_FALSE(harness.prepare(job));
    EXPECT_EQ(modeOf(bundle), 0700u);
    EXPECT_EQ(modeOf(bundle + "/data"), 0600u);
    EXPECT_EQ(modeOf(bundle + "/progress"), 0600u);
    harness.onWorker([&] { job->downloadAndBlock(); });
    const mode_t mask = ::umask(0);
    ::umask(mask);
    EXPECT_EQ(modeOf(file), 0666u & ~mask);
}

/// Moves the half of a download from a folder to others, one of them on another file system.
class MovedBundle : public CURLRemoteFileTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(MovedBundle, GoesOnWhereItIsAndAfterAFailureWhereItWas) {
    if (!Disk::isFolder(GetParam()))
        GTEST_SKIP() << "no other file system at " << GetParam();
    const TemporaryFolder elsewhere{GetParam()};
    const bool isFar = statusOf(elsewhere.path()).st_dev != statusOf(harness.folder.path()).st_dev;
    leaveUnfinished(); // with holes
    const auto job = harness.jobFromBundle("sample.bin");
    ASSERT_FALSE(harness.prepare(job));
    const std::string source = bundle;
    const std::string target = elsewhere.path("sample.bin.trdownload");
    const auto blocks = statusOf(source + "/data").st_blocks;
    const auto done = job->totalBytesDownloaded();

    const auto fails = [&](int errorNumber) {
        const auto moved = job->moveBundleTo(elsewhere.path());
        EXPECT_TRUE(!moved && moved.error().is(ErrorDomain::Posix, errorNumber));
        EXPECT_EQ(job->activeFile(), source);
        EXPECT_TRUE(Disk::exists(source + "/progress"));
    };
    harness.disk.failOn(isFar ? "copyFile" : "renameNoReplace", isFar ? 2 : 1, ENOSPC, false);
    fails(ENOSPC);
    EXPECT_FALSE(Disk::exists(target));
    std::filesystem::create_directory(target);
    elsewhere.write("sample.bin.trdownload/data", "mine");
    fails(EEXIST);
    EXPECT_EQ(contentOf(target + "/data"), "mine");
    std::filesystem::remove_all(target);

    ASSERT_TRUE(job->moveBundleTo(elsewhere.path()));
    EXPECT_FALSE(Disk::exists(source));
    EXPECT_EQ(job->activeFile(), target);
    elsewhere.write("taken.bin", "mine");
    EXPECT_FALSE(renameJob(*job, "taken.bin"));
    EXPECT_FALSE(renameJob(*job, "..."));
    ASSERT_TRUE(renameJob(*job, "re:named.bin")); // and back, for what follows
    EXPECT_EQ(job->activeFile(), elsewhere.path("re_named.bin.trdownload"));
    ASSERT_TRUE(renameJob(*job, "sample.bin"));
    EXPECT_LE(statusOf(target + "/data").st_blocks, blocks);
    EXPECT_LT(blocks * 512, kSize);
    const auto intruder = CURLRemoteFile::fromBundleFile(target, harness.environment);
    EXPECT_TRUE(harness.prepare(intruder)->is(ErrorDomain::Posix, EWOULDBLOCK)); // it is still the job's
    const std::int64_t sent = server.bytesSent();
    harness.onWorker([&] { job->downloadAndBlock(); });
    EXPECT_EQ(fileIsSample(elsewhere.path("sample.bin"), kSize), "");
    EXPECT_EQ(server.bytesSent() - sent, kSize - done);
    EXPECT_FALSE(Disk::exists(target));
    removeFilesOf(job);
    EXPECT_FALSE(Disk::exists(elsewhere.path("sample.bin")));
}

INSTANTIATE_TEST_SUITE_P(To, MovedBundle, ::testing::Values("/tmp", "/dev/shm"));

} // namespace tarvo::test
