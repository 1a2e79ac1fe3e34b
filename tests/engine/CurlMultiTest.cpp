// Many connections on one thread: what they bring, and how soon they obey.
#include "engine/transfer/CurlMulti.h"

#include <set>

#include <pthread.h>

#include <curl/curl.h>

#include "LiveTransfer.h"

namespace tarvo {

namespace {

using namespace std::chrono_literals;
using State = CurlDownloadState;
using Children = std::vector<std::shared_ptr<CurlDownloader>>;

class CurlMultiTest : public test::LiveTransfer {
protected:
    ~CurlMultiTest() override {
        if (m_thread.joinable())
            endsWithin(10s);
    }

    void start(Children children) {
        m_children = std::move(children);
        m_loop = std::make_unique<CurlMulti>(m_children, m_environment.connectionPools);
        m_ended = false;
        m_thread = std::thread([this] {
            m_loop->downloadAndBlock();
            m_ended = true;
        });
    }

    bool endsWithin(std::chrono::milliseconds limit) {
        const auto begin = std::chrono::steady_clock::now();
        if (!test::comesTrue([this] { return m_ended.load(); }))
            m_loop->requestStop();
        m_thread.join();
        return std::chrono::steady_clock::now() - begin < limit;
    }

    /// The processor time that the transfer thread has used.
    std::chrono::nanoseconds processorTime() {
        clockid_t clock{};
        timespec used{};
        EXPECT_EQ(pthread_getcpuclockid(m_thread.native_handle(), &clock), 0);
        EXPECT_EQ(clock_gettime(clock, &used), 0);
        return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
    }

    Children m_children;
    std::unique_ptr<CurlMulti> m_loop;
    std::atomic<bool> m_ended{true};
    std::thread m_thread;
};

} // namespace

TEST_F(CurlMultiTest, EveryConnectionBringsItsPart) {
    const std::string url = m_server.url(1'000'000);
    std::vector<std::shared_ptr<test::Receiver>> receivers;
    Children children;
    for (std::int64_t from = 0; from < 1'000'000; from += 100'000) {
        m_receiver = receivers.emplace_back(std::make_shared<test::Receiver>());
        children.push_back(segment(url, from, from + 100'000));
    }
    start(children);
    EXPECT_TRUE(endsWithin(10s));
    for (std::size_t i = 0; i < children.size(); ++i) {
        const auto from = static_cast<std::int64_t>(i) * 100'000;
        EXPECT_TRUE(receivers[i]->content == test::sample(from, 100'000)) << i;
        EXPECT_EQ(children[i]->currentState(), State::Succeeded);
    }
    EXPECT_FALSE(m_loop->error());
    std::set<int> connections;
    for (const auto& request : m_server.requests())
        connections.insert(request.connection);
    EXPECT_EQ(connections.size(), 10u) << "each over a connection of its own";
}

TEST_F(CurlMultiTest, TheFirstErrorInTheirOrderIsTheRuns) {
    const std::string late = m_server.url(1000, "delay=200&cut=10", "late");
    start({segment(m_server.url(1000)), segment(late, 0, 1000), segment("http://127.0.0.1:1/"),
           segment(m_server.url(1000))});
    EXPECT_TRUE(endsWithin(10s));
    EXPECT_TRUE(m_loop->error()->is(ErrorDomain::CurlSegment, CURLE_PARTIAL_FILE));
    EXPECT_EQ(m_children[2]->segment().errorCode(), CURLE_COULDNT_CONNECT);
    EXPECT_EQ(m_children[3]->currentState(), State::Succeeded);
    start({});
    EXPECT_TRUE(endsWithin(2s));
    EXPECT_TRUE(m_loop->allHandlesPaused());
    EXPECT_FALSE(m_loop->error());
}

TEST_F(CurlMultiTest, APauseStopsTheDataAndCostsNothing) {
    const std::string url = m_server.url(20'000'000, "rate=2000000");
    start({segment(url, 0, 10'000'000), segment(url, 10'000'000, 20'000'000)});
    ASSERT_TRUE(test::comesTrue([this] { return m_receiver->count > 100'000; }));
    m_loop->requestPause();
    ASSERT_TRUE(test::comesTrue([this] { return m_loop->allHandlesPaused(); }));
    const std::int64_t before = m_receiver->count;
    const auto usedBefore = processorTime();
    std::this_thread::sleep_for(500ms); // the stretch that is measured
    EXPECT_EQ(m_receiver->count, before);
    EXPECT_LT(processorTime() - usedBefore, 50ms);
    m_loop->requestResume();
    EXPECT_TRUE(test::comesTrue([&] { return m_receiver->count > before + 100'000; }));
    EXPECT_FALSE(m_loop->allHandlesPaused());
    m_loop->requestPause();
    ASSERT_TRUE(test::comesTrue([this] { return m_loop->allHandlesPaused(); }));
    m_loop->requestStop();
    EXPECT_TRUE(endsWithin(1s)) << "also while paused";
    EXPECT_EQ(m_children.front()->currentState(), State::Failed);
}

TEST_F(CurlMultiTest, APauseBeforeTheStartHolds) {
    auto child = segment(m_server.url(100'000));
    child->requestPause();
    start({child});
    ASSERT_TRUE(test::comesTrue([this] { return m_server.bytesSent() > 0; }));
    const auto usedBefore = processorTime();
    std::this_thread::sleep_for(500ms);
    EXPECT_EQ(m_receiver->count, 0);
    EXPECT_LT(processorTime() - usedBefore, 50ms);
    m_loop->requestResume();
    EXPECT_TRUE(endsWithin(5s));
    EXPECT_TRUE(m_receiver->content == test::sample(0, 100'000)) << "nothing is lost or doubled by the pause";
    EXPECT_EQ(child->currentState(), State::Succeeded);
}

TEST_F(CurlMultiTest, AStopEndsASilentRunAtOnce) {
    start({segment(m_server.url(1000, "silent")), segment(m_server.url(1000, "stall=100", "stalls"), 0, 1000),
           segment(m_server.url(10, "", "done"))});
    ASSERT_TRUE(
        test::comesTrue([this] { return m_receiver->count == 110 && m_server.requests().size() == 3; }));
    m_loop->requestStop();
    EXPECT_TRUE(endsWithin(1s));
    EXPECT_EQ(m_children[0]->currentState(), State::Failed);
    EXPECT_EQ(m_children[1]->currentState(), State::Failed);
}

TEST_F(CurlMultiTest, TheRunEndsWithItsLastLivingConnection) {
    start({segment(m_server.url(1000, "silent")), segment(m_server.url(1000, "stall=100", "stalls")),
           segment(m_server.url(10, "", "done"))});
    ASSERT_TRUE(
        test::comesTrue([this] { return m_receiver->count == 110 && m_server.requests().size() == 3; }));
    m_children[0]->requestStop();
    m_children[1]->requestStop();
    EXPECT_TRUE(endsWithin(1500ms)) << "noticed at the loop's next turn";
    EXPECT_EQ(m_children[2]->currentState(), State::Succeeded);
}

TEST_F(CurlMultiTest, AStopBeforeTheStartFetchesNothing) {
    auto child = segment(m_server.url(1000, "rate=10"));
    child->requestStop();
    start({child});
    EXPECT_TRUE(endsWithin(1s));
    EXPECT_EQ(m_receiver->count, 0);
    EXPECT_EQ(child->currentState(), State::Failed);
}

} // namespace tarvo
