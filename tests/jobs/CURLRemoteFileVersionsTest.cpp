// A file that is replaced by another of the same name and size: its bytes never stand beside the old ones.
#include "support/JobTest.h"

#include <gtest/gtest.h>

namespace tarvo::test {

namespace {

const std::string kTagged = "version=0";
const std::string kTaggedAnew = "version=7";
const std::string kMonday = "Mon, 05 Jan 2026 10:00:00 GMT";
const std::string kDated = "untagged&modified=" + knobValue(kMonday);
const std::string kWeak = "etag=" + knobValue("W/\"one\"");

} // namespace

class CURLRemoteFileVersions : public JobTest {
protected:
    void expectChanged(const std::optional<Error>& problem) {
        ASSERT_TRUE(problem);
        EXPECT_TRUE(problem->is(ErrorDomain::Tarvo, kTarvoChangedOnServer)) << problem->sentence();
        EXPECT_FALSE(harness.exists("sample.bin"));
    }

    void expectWholeAtNextAttempt(const RemoteFile& failed, std::int64_t version) {
        EXPECT_TRUE(failed.isRetryable());
        const auto job = failed.copy();
        const auto problem = harness.run(job);
        ASSERT_FALSE(problem) << problem->sentence();
        EXPECT_EQ(fileIsSample(file, kSize, version), "");
        harness.disk.removeTree(file);
    }
};

TEST_F(CURLRemoteFileVersions, BetweenTwoRunsTheOldBytesAreGivenUp) {
    // Where nothing names the version, the bytes themselves do.
    const std::pair<std::string, std::string> cases[] = {
        {kTagged, kTaggedAnew},
        {kDated, "untagged&version=7&modified=" + knobValue("Tue, 06 Jan 2026 10:00:00 GMT")},
        {kWeak, "version=7&" + kWeak},
        {"untagged", "untagged&version=7"}};
    for (const auto& [before, after] : cases) {
        SCOPED_TRACE(before);
        const auto job = harness.job(leaveUnfinished(before));
        server.change(path, after);
        expectChanged(harness.run(job));
        expectWholeAtNextAttempt(*job, 7);
    }
}

TEST_F(CURLRemoteFileVersions, TheSameVersionIsGoneOnWith) {
    for (const auto& knobs : {kTagged, kDated, kWeak, std::string("untagged")}) {
        SCOPED_TRACE(knobs);
        const auto job = harness.job(leaveUnfinished(knobs));
        server.change(path, knobs);
        const std::int64_t before = server.bytesSent();
        const auto problem = harness.run(job);
        ASSERT_FALSE(problem) << problem->sentence();
        EXPECT_EQ(fileIsSample(file, kSize), "");
        EXPECT_LT(server.bytesSent() - before, kSize - 200'000) << "what was there is not fetched again";
        EXPECT_EQ(server.requests().back().header("if-range"), knobs == kTagged  ? "\"v0\""
                                                               : knobs == kDated ? kMonday
                                                                                 : "");
        harness.disk.removeTree(file);
    }
}

TEST_F(CURLRemoteFileVersions, BetweenTwoConnectionsOfOneRunTheyAreNotJoined) {
    const auto atOnce = harness.job(server.url(kSize));
    ASSERT_FALSE(harness.prepare(atOnce));
    server.change(path, kTaggedAnew);
    harness.onWorker([&] { atOnce->downloadAndBlock(); });
    expectChanged(atOnce->error());
    EXPECT_EQ(atOnce->totalBytesDownloaded(), 0);
    expectWholeAtNextAttempt(*atOnce, 7);

    // The bodies end early without an error, and what is missing is asked for after the change.
    server.change(path, "untilclose&cut=400000&rate=1000000&spareprobe&" + kTagged);
    const auto later = harness.job(server.url(kSize), 2);
    harness.start(later);
    server.change(path, kTaggedAnew);
    ASSERT_TRUE(turnUntil([&] { return harness.workers.isIdle(); }));
    expectChanged(later->error());
    expectWholeAtNextAttempt(*later, 7);
}

TEST_F(CURLRemoteFileVersions, ServersThatNeverAgreeAreAskedOverOneConnection) {
    // As mirrors behind one name, of which each makes tags of its own.
    auto job = harness.job(server.url(kSize, "etag=each"), 4);
    for (int attempt = 0; attempt < 2; ++attempt) {
        expectChanged(harness.run(job));
        job = std::static_pointer_cast<CURLRemoteFile>(job->copy());
    }
    const std::size_t before = server.requests().size();
    ASSERT_FALSE(harness.run(job));
    EXPECT_EQ(fileIsSample(file, kSize), "");
    EXPECT_EQ(server.requests().size() - before, 3u) << "a probe of two requests, and the file";
}

} // namespace tarvo::test
