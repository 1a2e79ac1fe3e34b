// Connections that go on from one transfer to the next, and how they end.
#include "engine/transfer/ConnectionPools.h"

#include <map>
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
        m_receiver->count = 0;
        std::vector<std::shared_ptr<CurlDownloader>> parts;
        for (std::int64_t from = 0; from < count; from += 1000)
            parts.push_back(segment(url, from, from + 1000));
        CurlMulti loop(parts, m_environment.connectionPools);
        loop.downloadAndBlock();
        return !loop.error() && m_receiver->count == count;
    }

    /// Pools that go by m_time.
    ConnectionPools& useClock() {
        m_environment.connectionPools = std::make_shared<ConnectionPools>(m_time);
        return *m_environment.connectionPools;
    }

    /// The connections that have brought a request since the `first` one.
    Connections connectionsFrom(std::size_t first) const {
        Connections numbers;
        const auto requests = m_server.requests();
        for (std::size_t i = first; i < requests.size(); ++i)
            numbers.insert(requests[i].connection);
        return numbers;
    }

    test::FakeClock m_time;
};

/// An FTP server for one client, who gets a file of ten bytes and neither hears that this was all of it nor
/// is answered to the goodbye.
class FtpServerWithoutManners {
public:
    FtpServerWithoutManners() {
        m_thread = std::jthread([this] { serve(); });
    }

    std::string url() const { return fmt::format("ftp://127.0.0.1:{}/a.bin", portOf(m_listener)); }

private:
    static FileHandle listener() {
        FileHandle made(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        EXPECT_EQ(::listen(made.descriptor(), 1), 0); // on a free port
        return made;
    }

    static int portOf(const FileHandle& socket) {
        sockaddr_in address{};
        socklen_t length = sizeof address;
        EXPECT_EQ(::getsockname(socket.descriptor(), reinterpret_cast<sockaddr*>(&address), &length), 0);
        return ntohs(address.sin_port);
    }

    void serve() const {
        const std::map<std::string, std::string> answers{
            {"USER", "230 welcome"},
            {"PWD\r", "257 \"/\""},
            {"MDTM", "213 20200101000000"},
            {"TYPE", "200 fine"},
            {"SIZE", "213 10"},
            {"REST", "350 go on"},
            {"RETR", "150 come"},
            {"EPSV", fmt::format("229 (|||{}|)", portOf(m_data))}};
        const FileHandle client(::accept(m_listener.descriptor(), nullptr, nullptr));
        std::string answer = "220 hello";
        char command[256] = "";
        do {
            if (answer.starts_with("150"))
                ::send(FileHandle(::accept(m_data.descriptor(), nullptr, nullptr)).descriptor(), "0123456789",
                       10, 0);
            if (!answer.empty())
                ::send(client.descriptor(), (answer + "\r\n").data(), answer.size() + 2, MSG_NOSIGNAL);
            const ssize_t count = ::recv(client.descriptor(), command, sizeof command, 0);
            if (count <= 0)
                return; // the client has left
            const auto known = answers.find(std::string(command, std::min<ssize_t>(count, 4)));
            answer = known == answers.end() ? "" : known->second;
        } while (true);
    }

    const FileHandle m_listener = listener();
    const FileHandle m_data = listener();
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
    ConnectionPools& pools = useClock();
    const auto asUser = [&](std::size_t number) {
        return m_server.url(1000).insert(7, fmt::format("user{}@", number));
    };
    for (std::size_t i = 0; i < ConnectionPools::kMostIdle + 3; ++i)
        ASSERT_TRUE(fetch(asUser(i), 1000));
    EXPECT_EQ(pools.idleCount(), ConnectionPools::kMostIdle);
    EXPECT_EQ(pools.lend(*Url::parse(asUser(0)))->socketCount(), 0u) << "the oldest has made room";
    const Url url = *Url::parse(asUser(5));
    m_time.advance(ConnectionPools::kLongestIdle / 2);
    {
        const auto lease = pools.lend(url);
        EXPECT_EQ(lease->socketCount(), 1u);
        EXPECT_EQ(pools.lend(url)->socketCount(), 0u) << "each is lent once";
    }
    m_time.advance(ConnectionPools::kLongestIdle / 2);
    pools.closeIdle(m_time.now());
    EXPECT_EQ(pools.idleCount(), 1u) << "the one that was used since";
}

TEST_F(ConnectionPoolsTest, ClosingWaitsForNoServer) {
    const FtpServerWithoutManners server;
    ConnectionPools& pools = useClock();
    const auto head = downloader({.url = *Url::parse(server.url()), .headRequestOnly = true});
    CurlMulti({head}, m_environment.connectionPools).downloadAndBlock();
    ASSERT_EQ(head->segment().contentLength(), 10);
    ASSERT_EQ(pools.idleCount(), 1u);
    m_time.advance(ConnectionPools::kLongestIdle);
    EXPECT_LT(test::timeOf([&] { pools.closeIdle(m_time.now()); }), std::chrono::seconds(1));
    EXPECT_EQ(pools.idleCount(), 0u);
}

TEST_F(ConnectionPoolsTest, AStopDoesNotWaitForAServersLastWord) {
    const FtpServerWithoutManners server;
    CurlMulti loop({segment(server.url())}, m_environment.connectionPools);
    std::thread transfer([&] { loop.downloadAndBlock(); });
    EXPECT_TRUE(test::turnUntil([&] { return m_receiver->count == 10; }));
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
