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

    /// Fetches `url` over a connection of this very pool.
    void fetchOver(ConnectionPool& pool, const std::string& url) {
        const auto whole = segment(url);
        whole->segment().configure();
        ASSERT_TRUE(pool.add(whole->segment()));
        do {
            ASSERT_EQ(pool.perform(), CURLE_OK);
            pool.wait(std::chrono::milliseconds(10));
        } while (!pool.nextEnded());
        pool.remove(whole->segment());
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
    test::FakeClock clock;
    ConnectionPools pools(clock);
    const Url url = *Url::parse(m_server.url(10));
    {
        std::vector<std::shared_ptr<ConnectionPool>> leases;
        for (std::size_t i = 0; i < ConnectionPools::kMostIdle + 3; ++i) {
            fetchOver(*leases.emplace_back(pools.lend(url)), url.absoluteString());
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
    const auto pools = std::make_shared<ConnectionPools>(clock);
    const auto head = downloader({.url = *Url::parse(server.url()), .headRequestOnly = true});
    CurlMulti({head}, pools).downloadAndBlock();
    ASSERT_EQ(head->segment().contentLength(), 10);
    ASSERT_EQ(pools->idleCount(), 1u);
    clock.advance(ConnectionPools::kLongestIdle);
    EXPECT_LT(test::timeOf([&] { pools->closeIdle(clock.now()); }), std::chrono::seconds(1));
    EXPECT_EQ(pools->idleCount(), 0u);
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

TEST_F(ConnectionPoolsTest, AnEarlyEndDoesNotWaitForAServersLastWord) {
    const FtpServerWithoutManners server;
    const auto child = segment(server.url());
    ASSERT_TRUE(child->endAt(5));
    EXPECT_LT(test::timeOf([&] { CurlMulti({child}, m_environment.connectionPools).downloadAndBlock(); }),
              std::chrono::seconds(2));
    EXPECT_EQ(child->currentState(), CurlDownloadState::Succeeded);
    EXPECT_EQ(m_receiver->content, "01234");
}

} // namespace tarvo
