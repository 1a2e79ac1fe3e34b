// A transfer whose connections end, fail and help each other while it runs.
#include "storage/ProgressFile.h"
#include "support/JobTest.h"

#include <filesystem>

#include <QDateTime>
#include <QLocale>

#include <gtest/gtest.h>

namespace tarvo::test {

class SegmentedTransferTest : public JobTest {
protected:
    static constexpr std::int64_t kFirstHole = 100'000; // from 0; the second: from twice as far to the end

    /// Prepares the download of a bundle with two holes over one connection, which is planned for the larger.
    std::shared_ptr<SegmentedTransfer> makeReady(const Url& url) {
        std::filesystem::create_directory(bundle);
        harness.folder.write("sample.bin.trdownload/data",
                             std::string(kFirstHole, '?') + sample(kFirstHole, kFirstHole));
        const auto record = std::make_shared<ProgressData>(kSize);
        record->recordBytesDownloaded(kFirstHole, kFirstHole);
        EXPECT_TRUE(ProgressFile(bundle + "/progress", harness.disk).writeData({url, kSize, record, {}, 1}));
        DownloadPreparation preparation(url, {.bundle = {.bookmark = bundle}}, {}, intake,
                                        harness.environment);
        auto ready = preparation.run([](const ProbeAnswers&) { return BundlePlace(); });
        if (!ready)
            return nullptr;
        return SegmentedTransfer::create({{.url = url}, intake, harness.environment, speedometer, [] {}},
                                         std::move(*ready));
    }

    std::shared_ptr<DataIntake> intake = std::make_shared<DataIntake>(harness.disk, harness.clock);
    Speedometer speedometer{10, Seconds(15), nullptr, harness.clock.now()};
    Result<FinishedFile> finished;
};

/// Fetches a file at 1 MB/s a connection; of the requests for its ranges the third one meets the fault.
class OneOfSomeFails : public JobTest {
protected:
    std::optional<Error> runWith(const std::string& fault, std::int64_t connections) {
        const std::string third = "5"; // after HEAD and the range of one byte
        job = harness.job(
            server.url(kSize, "rate=1000000&from=" + third + "&until=" + third + "&" + fault, fault),
            connections);
        return harness.run(job);
    }

    std::shared_ptr<CURLRemoteFile> job;
};

TEST_F(OneOfSomeFails, TheOthersBringWhatItFailsToBring) {
    for (const std::string fault : {"cut=100000", "cut=0", "reset", "status=503", "stall=100000", "silent"}) {
        const auto sentBefore = server.bytesSent();
        const auto problem = runWith(fault, 4);
        EXPECT_FALSE(problem) << fault << problem->sentence();
        EXPECT_EQ(fileIsSample(harness.folder.path(fault), kSize), "") << fault;
        EXPECT_LT(server.bytesSent() - sentBefore, 2 * kSize) << fault;
    }
}

TEST_F(OneOfSomeFails, WhatItIsTooSlowForIsSharedAndNoByteCountsTwice) {
    const auto begun = std::chrono::steady_clock::now();
    const auto problem = runWith("slow=10000", 10);
    EXPECT_FALSE(problem) << problem->sentence();
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(15)) << "alone it needs 30";
    EXPECT_EQ(job->totalBytesDownloaded(), kSize);
    EXPECT_EQ(fileIsSample(harness.folder.path("slow=10000"), kSize), "");
}

TEST_F(OneOfSomeFails, WhereAllAreRefusedTheJobFailsAndSaysWhenTheServerWantsToBeAskedAgain) {
    const auto inTwoMinutes = QDateTime::currentDateTimeUtc().addSecs(120);
    const QString date =
        QLocale::c().toString(inTwoMinutes, QStringLiteral("ddd, dd MMM yyyy hh:mm:ss 'GMT'"));
    for (const std::string& wait : {std::string("120"), date.toStdString()}) {
        job = harness.job(
            server.url(kSize, "status=429&from=3&retryafter=" + knobValue(wait), wait.substr(0, 3)));
        const auto problem = harness.run(job);
        ASSERT_TRUE(problem && problem->is(ErrorDomain::CurlHttp, 429));
        EXPECT_NEAR(static_cast<double>(problem->retryAfter), 110, 10) << wait;
    }
    EXPECT_EQ(harness.transfers.hostConnections->learned(), std::vector<LearnedLimit>());
}

TEST_F(OneOfSomeFails, WhatIsPausedLeavesTheHostsPlacesToOthers) {
    for (const int places : {1, 4}) {
        harness.defaults.setForThisRun(SettingKey::kMaxConnectionsPerHost, places);
        const std::string name = std::to_string(places);
        job = harness.job(server.url(kSize, "rate=50000", "held" + name), 4);
        harness.start(job);
        EXPECT_TRUE(turnUntil([&] { return job->totalBytesDownloaded() > 0; }));
        job->pause();
        EXPECT_FALSE(harness.run(harness.job(server.url(kSize, {}, "other" + name), 4)));
        EXPECT_EQ(fileIsSample(harness.folder.path("other" + name), kSize), "");
        job->stop();
        EXPECT_TRUE(turnUntil([&] { return harness.workers.isIdle(); }));
    }
}

TEST_F(OneOfSomeFails, ARefusalForGoodFailsTheJobOnceTheOthersHaveEnded) {
    const auto problem = runWith("status=404", 4);
    ASSERT_TRUE(problem);
    EXPECT_TRUE(problem->is(ErrorDomain::CurlHttp, 404)) << problem->sentence();
    EXPECT_NEAR(static_cast<double>(job->totalBytesDownloaded()), kSize * 0.75, 1);
    EXPECT_FALSE(harness.exists("status=404"));
}

TEST_F(SegmentedTransferTest, ADataFileThatIsCutAtTheEndNeverGetsTheName) {
    const auto transfer = makeReady(*Url::parse(server.url(kSize)));
    ASSERT_TRUE(transfer);
    const auto cutAndName = [&]() -> std::string {
        std::filesystem::resize_file(bundle + "/data", 1000);
        return "sample.bin";
    };
    harness.onWorker([&] { finished = transfer->run(cutAndName); });
    EXPECT_FALSE(finished);
    EXPECT_FALSE(harness.exists("sample.bin"));
}

} // namespace tarvo::test
