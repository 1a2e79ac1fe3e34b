// What tests of real transfers stand on: a server that misbehaves on request, settings, and a receiver.
#pragma once

#include "engine/transfer/LiveCurlDownloaderFactory.h"
#include "support/FaultServer.h"
#include "support/SampleData.h"
#include "support/TemporaryFolder.h"
#include "support/TurnUntil.h"

#include <atomic>

#include <gtest/gtest.h>

namespace tarvo::test {

/// Takes what a connection brings.
class Receiver final : public CurlDownloaderDelegate {
public:
    std::int64_t downloaderHasData(CurlDownloader&, std::span<const char> data, std::int64_t) override {
        content.append(data.data(), data.size());
        count += static_cast<std::int64_t>(data.size());
        return static_cast<std::int64_t>(data.size());
    }

    std::string content; // the transfer thread's
    std::atomic<std::int64_t> count{0};
};

class LiveTransfer : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(m_server.problems(), std::vector<std::string>()); }

    /// The request's one header at the server, in the request that came last.
    std::string lastSent(const std::string& header) const {
        return m_server.requests().back().header(header);
    }

    std::shared_ptr<CurlDownloader> segment(const std::string& url, std::int64_t from = 0,
                                            std::int64_t to = 0) {
        return m_factory.segmentedDownload(m_receiver, *Url::parse(url), from, to, m_token, m_referer);
    }

    FaultServer m_server;
    TemporaryFolder m_folder;
    UserDefaults m_defaults{m_folder.path("settings.conf")};
    CookieStore m_cookies;
    SystemClock m_clock;
    TransferEnvironment m_environment{m_defaults, m_cookies, m_clock};
    LiveCurlDownloaderFactory m_factory{m_environment, std::make_shared<ConnectionPool>()};
    std::shared_ptr<Receiver> m_receiver = std::make_shared<Receiver>();
    std::shared_ptr<const TRAuthToken> m_token;
    std::optional<Url> m_referer;
};

} // namespace tarvo::test
