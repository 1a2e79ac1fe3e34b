// An unfinished download goes on from another address only after proof, and without it nothing changes.
#include "jobs/AddressProof.h"

#include "base/Localized.h"
#include "storage/ProgressFile.h"
#include "support/JobTest.h"
#include "support/Text.h"

#include <gtest/gtest.h>

namespace tarvo::test {

TEST(PlacesToCompare, LieAtTheEndsOfDoneRangesFirst) {
    std::mt19937_64 random(1);
    ProgressData many(10'000'000);
    for (std::int64_t at = 0; at < 10'000'000; at += 1'000'000)
        many.recordBytesDownloaded(at, 500'000);
    for (int i = 0; i < 100; ++i) {
        for (const auto& place : placesToCompare(many, random)) {
            EXPECT_EQ(place.upperBound % 1'000'000, 500'000);
            EXPECT_EQ(place.size(), kProofLength);
        }
    }
    ProgressData one(10'000'000);
    one.recordBytesDownloaded(1'000'000, 70'000);
    std::set<std::int64_t> begins;
    for (int i = 0; i < 100; ++i) {
        const auto places = placesToCompare(one, random);
        ASSERT_EQ(places.size(), kProofPlaces);
        EXPECT_EQ(places.front().upperBound, 1'070'000);
        for (const auto& place : places) {
            EXPECT_TRUE(place.lowerBound >= 1'000'000 && place.upperBound <= 1'070'000 && place.size() > 0);
            begins.insert(place.lowerBound);
        }
    }
    EXPECT_GT(begins.size(), 20u);
    EXPECT_TRUE(placesToCompare(ProgressData(10), random).empty());
}

class AddressProofTest : public JobTest {
protected:
    void TearDown() override {
        JobTest::TearDown();
        EXPECT_TRUE(other.problems().empty());
    }

    ProgressState record() { return ProgressFile(bundle + "/progress", harness.disk).readData().value(); }

    std::string bytesOf(const std::string& member) {
        return harness.disk.readFile(bundle + "/" + member, 100'000'000).value();
    }

    /// The unfinished download, which is to go on from `address`.
    std::shared_ptr<RemoteFile> movedTo(const std::string& address) const {
        return harness.jobFromBundle("sample.bin")->copyAt(*Url::parse(address));
    }

    FaultServer other;
};

TEST_F(AddressProofTest, TheSameFileElsewhereIsGoneOnWithAndItsVersionCountsFromThen) {
    const auto old = CURLRemoteFile::make({.url = Url::parse(leaveUnfinished()),
                                           .folder = harness.folder.path(),
                                           .facts = {.referer = Url::parse("http://127.0.0.1/page")}},
                                          harness.environment);
    ASSERT_FALSE(harness.prepare(old, std::make_shared<TRAuthToken>(server.address(""), "bob", "secret")));
    old->stop();
    server.change(path, "status=410");
    const std::string address = other.url(kSize, "etag=" + knobValue("\"there\""));
    const auto job = old->copyAt(*Url::parse(address));
    const auto unready = harness.prepare(job);
    ASSERT_FALSE(unready) << unready->sentence();
    EXPECT_EQ(record().url.absoluteString(), address);
    EXPECT_EQ(record().validator.entityTag, "\"there\"");
    EXPECT_EQ(job->link()->url.absoluteString(), address);
    const std::int64_t before = record().progressData->totalBytesDownloaded();

    job->stop();
    const auto problem = harness.run(job->copy()); // as after a failure: nothing is proven twice
    ASSERT_FALSE(problem) << problem->sentence();
    EXPECT_EQ(fileIsSample(file, kSize), "");
    EXPECT_LE(other.bytesSent(), kSize - before + 4 * kProofLength + 2);
    EXPECT_EQ(other.requests().back().header("if-range"), "\"there\"");
    for (const auto& request : other.requests())
        EXPECT_EQ(request.header("authorization") + request.header("referer"), "");
}

TEST_F(AddressProofTest, WithoutProofNothingChanges) {
    const std::string monday = "modified=" + knobValue("Mon, 05 Jan 2026 10:00:00 GMT");
    const std::string tuesday = "modified=" + knobValue("Tue, 06 Jan 2026 10:00:00 GMT");
    leaveUnfinished("untagged&" + monday);
    const std::string data = bytesOf("data");
    const std::string progress = bytesOf("progress");
    const std::pair<std::string, std::string> cases[] = {
        {other.url(kSize, "version=7&untagged"), "tr.err.address-bytes"},
        {other.url(kSize, "untagged&" + tuesday), "tr.err.address-version"},
        {other.url(kSize + 1), "tr.err.address-size"},
        {other.url(kSize, "nolength"), "tr.err.address-size-unknown"},
        {other.url(kSize, "norange"), "tr.err.address-no-parts"},
        {other.url(kSize, "whole200&spareprobe"), "tr.err.address-no-parts"},
        {other.url(kSize, "type=text/html"), "tr.err.address-page"},
        {other.url(kSize, "status=404"), ""},
    };
    for (const auto& [address, key] : cases) {
        SCOPED_TRACE(address);
        const auto job = movedTo(address);
        const auto problem = harness.prepare(job);
        ASSERT_TRUE(problem);
        EXPECT_EQ(problem->is(ErrorDomain::RemoteFile, kRemoteFileAddressRefused), !key.empty());
        const std::string said = key == "tr.err.address-size"
                                     ? localized(key, {std::to_string(kSize + 1), std::to_string(kSize)})
                                     : localized(key);
        EXPECT_TRUE(key.empty() || problem->description == said) << problem->sentence();
        EXPECT_FALSE(job->isRetryable());
        EXPECT_EQ(job->link()->url, record().url) << "a session goes on from where the record is";
        EXPECT_EQ(bytesOf("progress"), progress);
        EXPECT_EQ(bytesOf("data"), data);
    }
    const auto job = movedTo(cases[0].first);
    harness.prepare(job);
    job->stop();
    harness.onWorker([&] { EXPECT_FALSE(job->removeFiles()); });
    EXPECT_FALSE(harness.exists("sample.bin.trdownload")) << "the bundle is the job's, wherever it goes on";
}

TEST_F(AddressProofTest, BetweenProofAndRecordTheOldAddressStands) {
    const std::string url = leaveUnfinished();
    const auto job = movedTo(other.url(kSize));
    harness.disk.failOn("replaceFile", 1, EIO, false);
    ASSERT_TRUE(harness.prepare(job));
    EXPECT_EQ(record().url.absoluteString(), url);
    const auto back = job->copyAt(*Url::parse(url));
    EXPECT_FALSE(harness.prepare(back));
    EXPECT_EQ(record().url.absoluteString(), url);
    back->stop();
    const auto again = job->copy(); // is proven anew
    EXPECT_FALSE(harness.run(again));
    EXPECT_EQ(fileIsSample(file, kSize), "");
}

} // namespace tarvo::test
