// A transfer whose list of connections grows and shrinks while it runs.
#include "storage/ProgressFile.h"
#include "support/JobTest.h"

#include <filesystem>

#include <gtest/gtest.h>

namespace tarvo::test {

class SegmentedTransferTest : public JobTest, public ::testing::WithParamInterface<const char*> {
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
        return SegmentedTransfer::create({{url, {}, 1}, intake, harness.environment, speedometer, [] {}},
                                         std::move(*ready));
    }

    std::shared_ptr<DataIntake> intake = std::make_shared<DataIntake>(harness.disk, harness.clock);
    Speedometer speedometer{10, Seconds(15), nullptr, harness.clock.now()};
    Result<FinishedFile> finished;
};

TEST_P(SegmentedTransferTest, AnAddedConnectionCountsUntilItIsDroppedAndItsFailureStays) {
    const bool fails = *GetParam() != '\0';
    const auto transfer = makeReady(*Url::parse(server.url(kSize, "rate=1000000" + std::string(GetParam()))));
    ASSERT_TRUE(transfer);
    EXPECT_FALSE(transfer->addConnection({0, kFirstHole})) << "nothing runs yet";
    harness.workers.async([&] { finished = transfer->run([] { return "sample.bin"; }); });
    ASSERT_TRUE(turnUntil([&] { return intake->totalDone() > kFirstHole * 2; }));
    EXPECT_EQ(transfer->activeConnections(), 1);
    ASSERT_TRUE(transfer->addConnection({0, kFirstHole}));
    EXPECT_EQ(transfer->activeConnections(), 2);
    EXPECT_TRUE(turnUntil([&] {
        transfer->dropEnded();
        return transfer->activeConnections() == 1;
    }));
    ASSERT_TRUE(turnUntil([&] { return harness.workers.isIdle(); }));
    EXPECT_FALSE(transfer->addConnection({0, kFirstHole})) << "nothing runs any more";
    EXPECT_EQ(finished.has_value(), !fails);
    EXPECT_TRUE(finished || finished.error().is(ErrorDomain::CurlHttp, 503)) << finished.error().sentence();
    EXPECT_EQ(intake->totalDone(), fails ? kSize - kFirstHole : kSize) << "the other one has gone on";
    EXPECT_EQ(fails ? "" : fileIsSample(file, kSize), "");
}

TEST_P(SegmentedTransferTest, ADataFileThatIsCutAtTheEndNeverGetsTheName) {
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

INSTANTIATE_TEST_SUITE_P(Whose, SegmentedTransferTest, ::testing::Values("", "&status=503&from=4&until=4"));

} // namespace tarvo::test
