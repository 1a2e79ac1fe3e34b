// Connections that end before their time while a real SFTP server is silent.
#include <atomic>
#include <functional>

#include "engine/LiveTransfer.h"
#include "support/SshServer.h"

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
        if (silentSince || parts[0]->currentOffset() == 0 || parts[1]->currentOffset() == kSize / 2)
            return;
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

} // namespace tarvo
