// Connections that go on from one transfer to the next, and how they end.
#include "engine/transfer/ConnectionPools.h"

#include <set>

#include <arpa/inet.h>
#include <curl/curl.h>
#include <spdlog/fmt/fmt.h>
#include <sys/socket.h>

#include "LiveTransfer.h"
#include "engine/transfer/CurlMulti.h"
#include "engine/transfer/Scout.h"
#include "support/FakeClock.h"

namespace tarvo {

namespace {

using Connections = std::set<int>;

class ConnectionPoolsTest : public test::LiveTransfer {
protected:
    bool probe(const std::string& url) {
        return !ScoutFactory(m_environment).createScout(*Url::parse(url), m_token, {})->runAndGetError();
    }

    /// Fetches the first `count` bytes of `url`, a connection for each thousand. Answers whether all came.
    bool fetch(const std::string& url, std::int64_t count) {
        const auto receiver = std::make_shared<test::Receiver>();
        std::vector<std::shared_ptr<CurlDownloader>> parts;
        for (std::int64_t from = 0; from < count; from += 1000)
            parts.push_back(
                m_factory.segmentedDownload(receiver, *Url::parse(url), from, from + 1000, m_token, {}));
        CurlMulti loop(parts, m_environment.connectionPools);
        loop.downloadAndBlock();
        return !loop.error() && receiver->count == count;
    }

    /// The connections that have brought a request since the `first` one.
    Connections connectionsFrom(std::size_t first) const {
        Connections numbers;
        const auto requests = m_server.requests();
        for (std::size_t i = first; i < requests.size(); ++i)
            numbers.insert(requests[i].connection);
        return numbers;
    }
};

/// An FTP server for one client, who is told the size of a file and never answered to the goodbye.
class FtpServerWithoutManners {
public:
    FtpServerWithoutManners() {
        sockaddr_in address{
            .sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
        socklen_t length = sizeof address;
        auto* place = reinterpret_cast<sockaddr*>(&address);
        EXPECT_TRUE(::bind(m_listener.descriptor(), place, length) == 0 &&
                    ::listen(m_listener.descriptor(), 1) == 0 &&
                    ::getsockname(m_listener.descriptor(), place, &length) == 0);
        url = fmt::format("ftp://127.0.0.1:{}/a.bin", ntohs(address.sin_port));
        m_thread = std::jthread([this] { serve(); });
    }

    std::string url;

private:
    void serve() const {
        const FileHandle client(::accept(m_listener.descriptor(), nullptr, nullptr));
        char command[256];
        for (const std::string answer : {"220 hello", "230 welcome", "257 \"/\"", "213 20200101000000",
                                         "200 fine", "213 10", "350 go on"}) {
            ::send(client.descriptor(), (answer + "\r\n").data(), answer.size() + 2, MSG_NOSIGNAL);
            ::recv(client.descriptor(), command, sizeof command, 0);
        }
        while (::recv(client.descriptor(), command, sizeof command, 0) > 0) {
        } // until the client leaves
    }

    const FileHandle m_listener{::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    std::jthread m_thread;
};

} // namespace

TEST_F(ConnectionPoolsTest, ProbesAndTransfersGoOnWithTheSameConnections) {
    ASSERT_TRUE(probe(m_server.url(3000)));
    EXPECT_EQ(connectionsFrom(0), Connections{1}) << "the one byte is taken, and its connection lives";
    ASSERT_TRUE(fetch(m_server.url(3000), 3000));
    EXPECT_EQ(connectionsFrom(2), (Connections{1, 2, 3})) << "the probe's and two more";
    ASSERT_TRUE(probe(m_server.url(3000, "", "next")));
    ASSERT_TRUE(fetch(m_server.url(3000, "", "next"), 3000));
    EXPECT_EQ(connectionsFrom(5), (Connections{1, 2, 3}));
    ASSERT_TRUE(probe(m_server.url(3000, "excess=1")));
    const auto before = m_server.requests().size();
    ASSERT_TRUE(probe(m_server.url(3000)));
    EXPECT_EQ(connectionsFrom(before).size(), 1u) << "more than a byte is still broken off";
}

TEST_F(ConnectionPoolsTest, ConnectionsThatDiedWhileIdleFailNothing) {
    ASSERT_TRUE(fetch(m_server.url(5000), 5000));
    m_server.stop();
    m_server.start();
    EXPECT_TRUE(probe(m_server.url(5000)));
    m_server.stop();
    m_server.start();
    EXPECT_TRUE(fetch(m_server.url(5000), 5000));
}

TEST_F(ConnectionPoolsTest, IdlePoolsAreFewAndCloseAfterAWhile) {
    test::FakeClock clock;
    ConnectionPools pools(clock);
    const Url url = *Url::parse(m_server.url(10));
    {
        std::vector<std::shared_ptr<ConnectionPool>> leases;
        for (std::size_t i = 0; i < ConnectionPools::kMostIdle + 3; ++i) {
            LiveCurlDownloaderFactory factory(m_environment, leases.emplace_back(pools.lend(url)));
            factory.wholeDownload(m_receiver, url, nullptr, {})->download();
        }
        pools.lend(url); // one that nobody used
        EXPECT_EQ(pools.idleCount(), 0u);
        EXPECT_EQ(std::set(leases.begin(), leases.end()).size(), leases.size()) << "each is lent once";
    }
    EXPECT_EQ(pools.idleCount(), ConnectionPools::kMostIdle);
    EXPECT_EQ(pools.lend(*Url::parse("http://other.example/"))->socketCount(), 0u);
    EXPECT_EQ(pools.lend(url)->socketCount(), 1u);
    clock.advance(ConnectionPools::kLongestIdle / 2);
    pools.lend(url);
    clock.advance(ConnectionPools::kLongestIdle / 2);
    pools.closeIdle(clock.now());
    EXPECT_EQ(pools.idleCount(), 1u) << "the one that was used since";
}

TEST_F(ConnectionPoolsTest, ClosingWaitsForNoServer) {
    const FtpServerWithoutManners server;
    test::FakeClock clock;
    ConnectionPools pools(clock);
    const Url url = *Url::parse(server.url);
    {
        CurlRequest request{url, 0, 0, nullptr, std::nullopt};
        request.headRequestOnly = true;
        LiveCurlSegmentFactory segments(m_environment, pools.lend(url));
        const auto downloader = CurlDownloader::create(segments.createSegment(request));
        downloader->download();
        ASSERT_EQ(downloader->segment().contentLength(), 10);
    }
    ASSERT_EQ(pools.idleCount(), 1u);
    clock.advance(ConnectionPools::kLongestIdle);
    EXPECT_LT(test::timeOf([&] { pools.closeIdle(clock.now()); }), std::chrono::seconds(1));
    EXPECT_EQ(pools.idleCount(), 0u);
}

} // namespace tarvo
