// A whole download from nginx, over TLS and HTTP/2.
#include "support/JobHarness.h"
#include "support/NginxServer.h"
#include "support/SampleData.h"

#include <set>

#include <gtest/gtest.h>

namespace tarvo::test {

TEST(WebServer, TenPartsMakeTheFileOverHttp2WithAForeignCertificate) {
    constexpr std::int64_t size = 5'000'003;
    const NginxServer server;
    JobHarness harness;
    server.addFile("a.pdf", size);
    const auto job = harness.job(server.http2Url("/a.pdf"), 10);
    const auto problem = harness.run(job);
    ASSERT_FALSE(problem) << problem->sentence();
    EXPECT_EQ(fileIsSample(*job->finalFilePath(), size), "");
    // HEAD, one byte, ten parts; nginx writes its log a moment after the last byte
    ASSERT_TRUE(turnUntil([&] { return server.requests().size() == 12; }));
    std::int64_t sent = 0;
    std::set<std::int64_t> connections;
    for (const auto& request : server.requests()) {
        EXPECT_EQ(request.protocol, "HTTP/2.0");
        if (request.bodyBytes <= 1)
            continue;
        sent += request.bodyBytes;
        connections.insert(request.connection);
    }
    EXPECT_EQ(sent, size) << "no byte twice";
    EXPECT_EQ(connections.size(), 10u) << "no two parts share one";
}

TEST(WebServer, JobsThatWantMoreConnectionsThanItAllowsShareThoseAndLearnTheirNumber) {
    constexpr std::int64_t size = 2'000'003;
    const NginxServer server;
    JobHarness harness;
    std::vector<std::shared_ptr<CURLRemoteFile>> jobs;
    for (const std::string name : {"a", "b", "c", "d"}) {
        server.addFile(name, size);
        jobs.push_back(harness.job(server.url("/three/" + name), 10));
        harness.workers.async([job = jobs.back()] { // each is prepared while the others are sent
            if (job->makeReadyAndBlock(nullptr))
                job->downloadAndBlock();
        });
    }
    EXPECT_TRUE(turnUntil([&] { return harness.workers.isIdle(); }, std::chrono::seconds(60)));
    for (const auto& job : jobs) {
        ASSERT_FALSE(job->error()) << job->error()->sentence();
        EXPECT_EQ(fileIsSample(*job->finalFilePath(), size), "");
    }
    const auto limits = harness.transfers.hostConnections->learned();
    ASSERT_EQ(limits.size(), 1u);
    EXPECT_LE(limits[0].connections, 3);
    const auto requests = server.requests();
    EXPECT_LE(
        std::count_if(requests.begin(), requests.end(), [](const auto& each) { return each.status == 503; }),
        40)
        << "it is not asked again and again";
}

} // namespace tarvo::test
