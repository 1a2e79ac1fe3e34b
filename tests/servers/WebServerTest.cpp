// Whole downloads from nginx: plain, over TLS, over HTTP/2.
#include "support/JobHarness.h"
#include "support/NginxServer.h"
#include "support/SampleData.h"

#include <algorithm>
#include <set>

#include <gtest/gtest.h>

namespace tarvo::test {

TEST(WebServer, TenPartsMakeTheFileOverEachProtocolAndWithAForeignCertificate) {
    constexpr std::int64_t size = 5'000'003;
    NginxServer server;
    JobHarness harness;
    server.addFile("a.pdf", size);
    std::size_t before = 0;
    for (const std::string& url :
         {server.url("/a.pdf"), server.tlsUrl("/a.pdf"), server.http2Url("/a.pdf")}) {
        SCOPED_TRACE(url);
        const auto job = harness.job(url, 10);
        const auto problem = harness.run(job);
        ASSERT_FALSE(problem) << problem->sentence();
        EXPECT_EQ(fileIsSample(*job->finalFilePath(), size), "");
        // HEAD, one byte, ten parts; nginx writes its log a moment after the last byte
        ASSERT_TRUE(turnUntil([&] { return server.requests().size() == before + 12; }));
        auto requests = server.requests();
        requests.erase(requests.begin(), requests.begin() + static_cast<std::ptrdiff_t>(before));
        before += 12;
        std::erase_if(requests, [](const auto& request) { return request.bodyBytes <= 1; });
        std::int64_t sent = 0;
        std::set<std::int64_t> connections;
        for (const auto& request : requests) {
            EXPECT_EQ(request.status, 206);
            sent += request.bodyBytes;
            connections.insert(request.connection);
        }
        EXPECT_EQ(sent, size) << "no byte twice";
        EXPECT_EQ(connections.size(), 10u) << "no two parts share one";
    }
    EXPECT_EQ(server.requests().back().protocol, "HTTP/2.0");
}

} // namespace tarvo::test
