// The real servers come up, serve the sample under the manners that their headers promise, and go.
#include "Fetch.h"
#include "support/NginxServer.h"
#include "support/SampleData.h"
#include "support/SshServer.h"
#include "support/VsftpdServer.h"

#include <chrono>
#include <thread>

#include <gtest/gtest.h>

namespace tarvo::test {
namespace {

constexpr std::int64_t kSize = 300'000;

} // namespace

TEST(NginxServer, ServesTheFileInAllItsManners) {
    NginxServer server(200'000);
    server.addFile("a.pdf", kSize);
    const std::string whole = sample(0, kSize);
    for (const auto* path : {"/a.pdf", "/noranges/a.pdf", "/unknown/a.pdf", "/redirect/a.pdf", "/html/a.pdf"})
        EXPECT_TRUE(fetch(server.url(path)).body == whole) << path;

    Fetched part = fetch(server.url("/a.pdf"), {.range = "1-1"});
    EXPECT_EQ(part.headers["content-range"], "bytes 1-1/300000");
    EXPECT_EQ(part.headers["content-type"], "application/pdf");
    EXPECT_EQ(fetch(server.url("/noranges/a.pdf"), {.range = "1-1"}).status, 200);
    Fetched unknown = fetch(server.url("/unknown/a.pdf"), {.range = "1-1"});
    EXPECT_EQ(unknown.status, 200);
    EXPECT_EQ(unknown.headers.count("content-length"), 0u);
    EXPECT_EQ(fetch(server.url("/html/a.pdf"), {.headOnly = true}).headers["content-type"], "text/html");
    EXPECT_EQ(fetch(server.url("/auth/a.pdf")).status, 401);
    EXPECT_TRUE(fetch(server.url("/auth/a.pdf"), {.user = "bob:secret"}).body == whole);

    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(fetch(server.url("/slow/a.pdf")).body == whole);
    EXPECT_GT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(400));
}

TEST(NginxServer, SpeaksTlsAndHttp2AndKeepsALog) {
    NginxServer server;
    server.addFile("a", kSize);
    const Fetched tls = fetch(server.tlsUrl("/a"), {.range = "7-9", .version = CURL_HTTP_VERSION_2TLS});
    EXPECT_EQ(tls.body, sample(7, 3));
    EXPECT_EQ(tls.httpVersion, CURL_HTTP_VERSION_1_1);
    const Fetched http2 = fetch(server.http2Url("/a"), {.version = CURL_HTTP_VERSION_2TLS});
    EXPECT_TRUE(http2.body == sample(0, kSize));
    EXPECT_EQ(http2.httpVersion, CURL_HTTP_VERSION_2_0);

    for (int i = 0; i < 200 && server.requests().size() < 2; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].range, "bytes=7-9");
    EXPECT_EQ(requests[0].status, 206);
    EXPECT_EQ(requests[1].protocol, "HTTP/2.0");
    EXPECT_EQ(requests[1].bodyBytes, kSize);

    server.stop();
    EXPECT_EQ(fetch(server.url("/a")).code, CURLE_COULDNT_CONNECT);
    server.start();
    EXPECT_TRUE(fetch(server.url("/a")).body == sample(0, kSize));
}

TEST(VsftpdServer, LetsAnyoneInOrOnlyBob) {
    VsftpdServer open;
    open.addFile("a.bin", kSize);
    open.addFolder("folder");
    EXPECT_TRUE(fetch(open.url("/a.bin")).body == sample(0, kSize)) << open.log();
    EXPECT_EQ(fetch(open.url("/a.bin"), {.range = "100-199"}).body, sample(100, 100)) << open.log();
    EXPECT_EQ(fetch(open.url("/folder/")).code, CURLE_OK) << open.log();

    VsftpdServer closed(FtpLogin::password);
    closed.addFile("a.bin", kSize);
    EXPECT_EQ(fetch(closed.url("/a.bin")).code, CURLE_LOGIN_DENIED) << closed.log();
    EXPECT_EQ(fetch(closed.url("/a.bin"), {.user = "bob:wrong"}).code, CURLE_LOGIN_DENIED);
    const Fetched right = fetch(closed.url("/a.bin"), {.user = "bob:secret"});
    EXPECT_EQ(right.code, CURLE_OK) << closed.log();
    EXPECT_TRUE(right.body == sample(0, kSize));
}

TEST(SshServer, TakesThePasswordOrTheKey) {
    SshServer server;
    server.addFile("a.bin", kSize);
    const std::string url = server.url("a.bin");
    EXPECT_EQ(fetch(url, {.user = server.user() + ":wrong"}).code, CURLE_LOGIN_DENIED);
    EXPECT_TRUE(fetch(url, {.user = server.user() + ":secret"}).body == sample(0, kSize));
    const Fetched byKey = fetch(
        url, {.range = "5-1004", .user = server.user() + ":", .privateKey = server.keyFolder() + "/id_rsa"});
    EXPECT_EQ(byKey.code, CURLE_OK);
    EXPECT_TRUE(byKey.body == sample(5, 1000));
}

TEST(RealServers, StopInTheMiddleOfTransfers) {
    auto ftp = std::make_unique<VsftpdServer>(FtpLogin::anonymous, 100'000);
    ftp->addFile("a", 10 * kSize);
    auto web = std::make_unique<NginxServer>();
    web->addFile("a", 10 * kSize);
    std::thread ftpClient([url = ftp->url("/a")] { EXPECT_NE(fetch(url).code, CURLE_OK); });
    std::thread webClient([url = web->url("/slow/a")] { EXPECT_NE(fetch(url).code, CURLE_OK); });
    while (ftp->log().find("RETR") == std::string::npos)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    const auto begin = std::chrono::steady_clock::now();
    ftp.reset();
    web.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
    ftpClient.join();
    webClient.join();
}

} // namespace tarvo::test
