// Connections that end while a real file server is silent.
#include <thread>

#include <curl/curl.h>

#include "engine/LiveTransfer.h"
#include "support/SshServer.h"
#include "support/VsftpdServer.h"

namespace tarvo {

namespace {

constexpr std::int64_t kSize = 200'000'000;

struct AtEachTurn final : CurlMultiDelegate {
    void childHasEnded(CurlMulti&, CurlDownloader&) override {}

    void loopHasTurned(CurlMulti&) override { act(); }

    std::function<void()> act;
};

} // namespace

using SilentSftp = test::LiveTransfer;
using SilentFtp = test::LiveTransfer;

// By itself libcurl would wait for the answer to the close of each file.
TEST_F(SilentSftp, DoesNotHoldUpWhatEndsEarlyOrIsStopped) {
    const test::SshServer server;
    server.addFile("a.bin", kSize);
    m_token = std::make_shared<TRAuthToken>("", server.user(), "secret");
    const std::string url = server.url("a.bin");
    CurlMulti({segment(url, 0, 100)}, m_environment.connectionPools).downloadAndBlock();
    // The first of these goes on with the connection that is there, the other opens its own.
    const CurlMulti::Children parts{segment(url, 0, kSize / 2), segment(url, kSize / 2, kSize)};
    const auto delegate = std::make_shared<AtEachTurn>();
    std::optional<TimePoint> silentSince;
    delegate->act = [&] {
        if (silentSince || parts[0]->currentOffset() == 0)
            return;
        if (parts[1]->currentOffset() == kSize / 2) { // it is still logging in
            if (parts[0]->currentState() == CurlDownloadState::Running)
                parts[0]->requestPause();
            return;
        }
        server.freeze();
        silentSince = m_clock.now();
        EXPECT_TRUE(parts[0]->endAt(parts[0]->currentOffset()));
        parts[1]->requestStop();
    };
    CurlMulti loop(parts, m_environment.connectionPools);
    loop.setDelegate(delegate);
    loop.downloadAndBlock();
    ASSERT_TRUE(silentSince);
    EXPECT_LT(m_clock.now() - *silentSince, std::chrono::milliseconds(500));
    EXPECT_EQ(parts[0]->currentState(), CurlDownloadState::Succeeded);
    EXPECT_EQ(parts[1]->currentState(), CurlDownloadState::Failed);
}

// By itself libcurl would wait for the answer to its goodbye.
TEST_F(SilentFtp, DoesNotHoldUpTheClosingOfIdleConnections) {
    const test::VsftpdServer server;
    server.addFile("a.bin", 100);
    const auto head = downloader({.url = *Url::parse(server.url("/a.bin")), .headRequestOnly = true});
    CurlMulti({head}, m_environment.connectionPools).downloadAndBlock();
    ASSERT_EQ(m_environment.connectionPools->idleCount(), 1u);
    server.freeze();
    const auto close = [&] { m_environment.connectionPools->closeIdle(TimePoint::max()); };
    EXPECT_LT(test::timeOf(close), std::chrono::seconds(1));
}

// By itself libcurl would wait a minute for the word that this was the whole file.
TEST_F(SilentFtp, DoesNotHoldUpAStopWhenAllBytesAreThere) {
    const test::VsftpdServer server;
    server.addFile("a.bin", kSize);
    m_receiver->atData = [&] { server.freeze(); };
    CurlMulti loop({segment(server.url("/a.bin"), 0, 100)}, m_environment.connectionPools);
    std::thread transfer([&] { loop.downloadAndBlock(); });
    EXPECT_TRUE(test::turnUntil([&] { return m_receiver->count == 100; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(300)); // now it waits inside libcurl
    EXPECT_LT(test::timeOf([&] {
                  loop.requestStop();
                  transfer.join();
              }),
              std::chrono::seconds(2));
    EXPECT_EQ(loop.error()->code, CURLE_ABORTED_BY_CALLBACK);
    EXPECT_EQ(m_environment.connectionPools->idleCount(), 0u);
}

} // namespace tarvo
