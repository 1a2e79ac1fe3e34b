// Connections that go on from one transfer to the next, and how they end.
#include "engine/transfer/ConnectionPools.h"

#include <set>

#include <arpa/inet.h>
#include <curl/curl.h>
#include <sys/socket.h>
#include <unistd.h>

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
        for (auto request = requests.begin() + static_cast<std::ptrdiff_t>(first); request != requests.end();
             ++request)
            numbers.insert(request->connection);
        return numbers;
    }
};

/// An FTP server that answers until it is asked to say goodbye.
class FtpServerWithoutManners {
public:
    FtpServerWithoutManners() : m_listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* place = reinterpret_cast<sockaddr*>(&address);
        EXPECT_EQ(::bind(m_listener, place, length), 0);
        EXPECT_EQ(::listen(m_listener, 1), 0);
        EXPECT_EQ(::getsockname(m_listener, place, &length), 0);
        m_port = ntohs(address.sin_port);
        m_thread = std::thread([this] { serve(); });
    }

    ~FtpServerWithoutManners() {
        ::shutdown(m_listener, SHUT_RDWR);
        m_thread.join();
        ::close(m_listener);
    }

    FtpServerWithoutManners(const FtpServerWithoutManners&) = delete;
    FtpServerWithoutManners& operator=(const FtpServerWithoutManners&) = delete;

    std::string url() const { return "ftp://127.0.0.1:" + std::to_string(m_port) + "/a.bin"; }

private:
    void serve() const {
        const int client = ::accept(m_listener, nullptr, nullptr);
        say(client, "220 hello");
        char command[256];
        for (ssize_t count = 0; (count = ::recv(client, command, sizeof command, 0)) > 0;) {
            const std::string_view verb(command, static_cast<std::size_t>(std::min<ssize_t>(count, 4)));
            if (verb != "QUIT")
                say(client, verb == "USER"    ? "230 welcome"
                            : verb == "SIZE"  ? "213 10"
                            : verb == "REST"  ? "350 go on"
                            : verb == "PWD\r" ? "257 \"/\""
                                              : "200 fine");
        }
        ::close(client);
    }

    static void say(int client, const std::string& line) {
        const std::string bytes = line + "\r\n";
        ::send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }

    int m_listener;
    int m_port = 0;
    std::thread m_thread;
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
    const Url url = *Url::parse(server.url());
    {
        CurlRequest request{url, 0, 0, nullptr, std::nullopt, std::nullopt};
        request.headRequestOnly = true;
        LiveCurlSegmentFactory segments(m_environment, pools.lend(url));
        const auto downloader = CurlDownloader::create(segments.createSegment(request));
        downloader->download();
        ASSERT_FALSE(downloader->segment().error()) << downloader->segment().error()->sentence();
        EXPECT_EQ(downloader->segment().contentLength(), 10);
    }
    ASSERT_EQ(pools.idleCount(), 1u);
    clock.advance(ConnectionPools::kLongestIdle);
    const auto begin = std::chrono::steady_clock::now();
    pools.closeIdle(clock.now());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    EXPECT_EQ(pools.idleCount(), 0u);
}

TEST_F(ConnectionPoolsTest, ManyThreadsBorrowAtOnce) {
    std::atomic<int> succeeded{0};
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&, url = m_server.url(4000, "", std::to_string(number))] {
            for (int round = 0; round < 10; ++round)
                succeeded += probe(url) && fetch(url, 4000) ? 1 : 0;
        });
    }
    for (int turn = 0; turn < 1000; ++turn)
        m_environment.connectionPools->closeIdle(m_clock.now() + std::chrono::seconds(10));
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(succeeded, 40);
}

} // namespace tarvo
