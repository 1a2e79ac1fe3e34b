// Whole downloads from nginx: plain, TLS, HTTP/2, and the manners that a download meets.
#include "support/JobHarness.h"
#include "support/NginxServer.h"
#include "support/SampleData.h"

#include <algorithm>
#include <set>

#include <curl/curl.h>
#include <gtest/gtest.h>

namespace tarvo::test {

namespace {

constexpr std::int64_t kSize = 5'000'003;

} // namespace

class WebServerTest : public ::testing::Test {
protected:
    WebServerTest() { server.addFile("a.pdf", kSize); }

    /// Downloads and answers what is wrong with the result; empty when nothing is.
    std::string fetched(const std::string& url, std::int64_t size = kSize,
                        const std::string& name = "a.pdf") {
        const auto job = harness.job(url, 10);
        if (const auto problem = harness.run(job))
            return problem->sentence();
        return job->finalFilePath() == harness.folder.path(name) && !harness.exists(name + ".trdownload")
                   ? fileIsSample(harness.folder.path(name), size)
                   : "finished as " + job->finalFilePath().value_or("nothing");
    }

    /// The log's requests, when there are `count` of them: nginx writes a moment after the last byte.
    std::vector<NginxServer::Request> requests(std::size_t count) const {
        turnUntil([&] { return server.requests().size() >= count; });
        return server.requests();
    }

    static std::int64_t partsIn(const std::vector<NginxServer::Request>& requests,
                                const std::string& protocol) {
        return std::count_if(requests.begin(), requests.end(), [&](const NginxServer::Request& request) {
            return request.status == 206 && request.bodyBytes > 1 && request.protocol == protocol;
        });
    }

    NginxServer server;
    JobHarness harness;
};

TEST_F(WebServerTest, TenPartsMakeTheFile) {
    EXPECT_EQ(fetched(server.url("/a.pdf")), "");
    const auto log = requests(12);
    EXPECT_EQ(log.size(), 12u); // HEAD, one byte, ten parts
    EXPECT_EQ(partsIn(log, "HTTP/1.1"), 10);
    std::int64_t sent = 0;
    for (const auto& request : log)
        sent += request.bodyBytes;
    EXPECT_EQ(sent, kSize + 1); // the probe's byte, and no other twice
}

TEST_F(WebServerTest, OverTlsAndHttp2WhoeverTheCertificateIsFor) {
    EXPECT_EQ(fetched(server.tlsUrl("/a.pdf")), "");
    EXPECT_EQ(fetched(server.http2Url("/a.pdf"), kSize, "a (2).pdf"), "");
    const auto log = requests(24);
    EXPECT_EQ(partsIn(log, "HTTP/1.1") + partsIn(log, "HTTP/2.0"), 20);
    EXPECT_GE(partsIn(log, "HTTP/2.0"), 10); // what the server of that port was asked for
    std::set<std::int64_t> connections;
    for (const auto& request : log) {
        if (request.bodyBytes > 1)
            connections.insert(request.connection);
    }
    EXPECT_EQ(connections.size(), 20u); // and no two parts share one
}

TEST_F(WebServerTest, RedirectsAndServersWithoutRangesOrLength) {
    EXPECT_EQ(fetched(server.url("/redirect/a.pdf")), "");
    EXPECT_EQ(fetched(server.url("/noranges/a.pdf"), kSize, "a (2).pdf"), "");
    EXPECT_EQ(fetched(server.url("/unknown/a.pdf"), kSize, "a (3).pdf"), "");
    for (const std::int64_t size : {0, 1}) {
        const std::string name = std::to_string(size) + ".zip";
        server.addFile(name, size);
        EXPECT_EQ(fetched(server.url("/" + name), size, name), "");
    }
}

TEST_F(WebServerTest, CredentialsAreAskedForAndSent) {
    const std::string url = server.url("/auth/a.pdf");
    for (const auto& token : {std::shared_ptr<const TRAuthToken>(),
                              std::make_shared<const TRAuthToken>("http://host", "bob", "wrong")}) {
        const auto problem = harness.run(harness.job(url), token);
        ASSERT_TRUE(problem);
        EXPECT_TRUE(problem->is(ErrorDomain::RemoteFile, kRemoteFileAuthenticationErrorCode));
    }
    const auto right = std::make_shared<const TRAuthToken>("http://host", "bob", "secret");
    EXPECT_FALSE(harness.run(harness.job(url), right));
    EXPECT_EQ(fileIsSample(harness.folder.path("a.pdf"), kSize), "");
}

TEST_F(WebServerTest, APageOrNothingIsNoFile) {
    EXPECT_TRUE(
        harness.run(harness.job(server.url("/html/a.pdf")))->is(ErrorDomain::RemoteFile, HTMLPageErrorCode));
    EXPECT_TRUE(harness.run(harness.job(server.url("/missing")))->is(ErrorDomain::CurlHttp, 404));
    server.stop();
    EXPECT_TRUE(
        harness.run(harness.job(server.url("/a.pdf")))->is(ErrorDomain::CurlSegment, CURLE_COULDNT_CONNECT));
    EXPECT_FALSE(harness.exists("a.pdf"));
}

TEST_F(WebServerTest, AServerThatWentAwayIsContinuedWhenItIsBack) {
    constexpr std::int64_t size = 1'200'001;
    server.addFile("b.zip", size);
    const auto job = harness.job(server.url("/slow/b.zip"), 4);
    harness.start(job);
    ASSERT_TRUE(turnUntil([&] { return job->totalBytesDownloaded() > 200'000; }));
    ASSERT_TRUE(job->saveProgress());
    const std::int64_t saved = job->totalBytesDownloaded();
    server.stop();
    ASSERT_TRUE(turnUntil([&] { return job->currentState() == rf_state_failed; }));
    EXPECT_EQ(job->error()->domain, ErrorDomain::CurlSegment) << job->error()->sentence();

    server.start();
    const std::size_t before = server.requests().size();
    const auto again = harness.jobFromBundle("b.zip");
    const std::int64_t resumed = again->totalBytesDownloaded();
    EXPECT_GE(resumed, saved);
    EXPECT_FALSE(harness.run(again));
    EXPECT_EQ(fileIsSample(harness.folder.path("b.zip"), size), "");
    const auto sent = [&] {
        std::int64_t bytes = 0;
        const auto log = server.requests();
        for (std::size_t i = before; i < log.size(); ++i)
            bytes += log[i].bodyBytes;
        return bytes;
    };
    EXPECT_TRUE(turnUntil([&] { return sent() == size - resumed + 1; }, std::chrono::seconds(5)))
        << sent() << " bytes for " << size - resumed;
}

} // namespace tarvo::test
