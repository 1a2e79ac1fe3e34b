// Connections that go on from one transfer to the next, and how they end.
#include "engine/transfer/ConnectionPools.h"

#include <set>

#include <spdlog/fmt/fmt.h>

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

} // namespace

TEST_F(ConnectionPoolsTest, ProbesAndTransfersGoOnWithTheSameConnections) {
    ASSERT_TRUE(probe(m_server.url(3000)));
    EXPECT_EQ(connectionsFrom(0), (Connections{1, 2})) << "the one byte is taken, and its connection lives";
    ASSERT_TRUE(fetch(m_server.url(3000), 3000));
    EXPECT_EQ(connectionsFrom(2), (Connections{1, 2, 3})) << "the probe's and one more";
    ASSERT_TRUE(probe(m_server.url(3000, "", "next")));
    ASSERT_TRUE(fetch(m_server.url(3000, "", "next"), 3000));
    EXPECT_EQ(connectionsFrom(5), (Connections{1, 2, 3}));
    ASSERT_TRUE(probe(m_server.url(3000, "excess=1000000")));
    const auto before = m_server.requests().size();
    ASSERT_TRUE(probe(m_server.url(3000)));
    const auto requests = m_server.requests();
    const auto& byte = requests[requests[before - 1].method == "GET" ? before - 1 : before - 2];
    EXPECT_FALSE(connectionsFrom(before).contains(byte.connection)) << "more than a byte is still broken off";
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
    m_environment.connectionPools = std::make_shared<ConnectionPools>(m_time);
    ConnectionPools& pools = *m_environment.connectionPools;
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

} // namespace tarvo
