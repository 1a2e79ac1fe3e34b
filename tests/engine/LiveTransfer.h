// What tests of transfers stand on: a server that misbehaves on request, settings, and a receiver.
#pragma once

#include "base/PosixDisk.h"
#include "engine/transfer/CurlMulti.h"
#include "engine/transfer/LiveCurlSegment.h"
#include "support/FaultServer.h"
#include "support/SampleData.h"
#include "support/TemporaryFolder.h"
#include "support/TurnUntil.h"

#include <atomic>
#include <functional>

#include <gtest/gtest.h>

namespace tarvo::test {

/// Takes what the connections bring, each byte to its place.
class Receiver final : public CurlDownloaderDelegate {
public:
    std::int64_t downloaderHasData(CurlDownloader&, std::span<const char> data,
                                   std::int64_t offset) override {
        content.resize(std::max(content.size(), static_cast<std::size_t>(offset) + data.size()));
        std::copy(data.begin(), data.end(), content.begin() + offset);
        count += static_cast<std::int64_t>(data.size());
        if (atData)
            atData();
        return static_cast<std::int64_t>(data.size());
    }

    std::string content; // the transfer thread's
    std::atomic<std::int64_t> count{0};
    std::function<void()> atData; // on the transfer thread, before libcurl goes on
};

/// What a request is made with: settings of the test's own, and no cookies.
class TransferFixture : public ::testing::Test {
protected:
    TemporaryFolder m_folder;
    PosixDisk m_disk;
    UserDefaults m_defaults{m_folder.path("settings.conf"), m_disk};
    CookieStore m_cookies;
    SystemClock m_clock;
    TransferEnvironment m_environment{m_defaults, m_cookies, m_clock};
};

class LiveTransfer : public TransferFixture {
protected:
    void TearDown() override { EXPECT_EQ(m_server.problems(), std::vector<std::string>()); }

    /// The request's one header at the server, in the request that came last.
    std::string lastSent(const std::string& header) const {
        return m_server.requests().back().header(header);
    }

    std::shared_ptr<CurlDownloader> segment(const std::string& url, std::int64_t from = 0,
                                            std::int64_t to = 0) {
        return downloader({.url = *Url::parse(url),
                           .lowerBound = from,
                           .upperBound = to,
                           .authToken = m_token,
                           .referer = m_referer});
    }

    std::shared_ptr<CurlDownloader> downloader(CurlRequest request) const {
        auto made =
            CurlDownloader::create(std::make_unique<LiveCurlSegment>(std::move(request), m_environment));
        made->setDelegate(m_receiver);
        return made;
    }

    FaultServer m_server;
    std::shared_ptr<Receiver> m_receiver = std::make_shared<Receiver>();
    std::shared_ptr<const TRAuthToken> m_token;
    std::optional<Url> m_referer;
};

} // namespace tarvo::test
