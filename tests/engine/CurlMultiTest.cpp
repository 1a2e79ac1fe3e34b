// A loop whose children come, end and are cut while it runs.
#include "engine/transfer/CurlMulti.h"

#include <curl/curl.h>

#include "LiveTransfer.h"

namespace tarvo {

namespace {

using namespace std::chrono_literals;

/// Hears of a loop, and does what a test wants done on the transfer thread.
struct Listener final : CurlMultiDelegate {
    void childHasEnded(CurlMulti& loop, CurlDownloader& child) override {
        ends.push_back(&child);
        if (atEnd)
            atEnd(loop, child);
    }

    void loopHasTurned(CurlMulti& loop) override {
        if (atTurn)
            atTurn(loop);
    }

    std::function<void(CurlMulti&, CurlDownloader&)> atEnd;
    std::function<void(CurlMulti&)> atTurn;
    std::vector<CurlDownloader*> ends;
};

class CurlMultiTest : public test::LiveTransfer {
protected:
    /// Runs a loop of these children; all of them, those that were added too.
    CurlMulti::Children run(CurlMulti::Children children) {
        CurlMulti loop(std::move(children), m_environment.connectionPools);
        loop.setDelegate(m_listener);
        loop.downloadAndBlock();
        return loop.downloaders();
    }

    static std::int64_t succeededOf(const CurlMulti::Children& children) {
        return std::count_if(children.begin(), children.end(), [](const auto& child) {
            return child->currentState() == CurlDownloadState::Succeeded && !child->segment().error();
        });
    }

    std::shared_ptr<Listener> m_listener = std::make_shared<Listener>();
};

constexpr std::int64_t kSize = 4'000'000;

} // namespace

TEST_F(CurlMultiTest, AChildThatEndsMakesRoomForAHelperOfASlowOne) {
    const std::string url = m_server.url(kSize, "slow=20000&until=1");
    const auto slow = segment(url, 0, kSize / 2);
    const auto fast = segment(url, kSize / 2, kSize);
    bool isAdded = false;
    m_listener->atTurn = [&](CurlMulti& loop) {
        if (!isAdded && m_server.requests().size() == 1)
            isAdded = loop.add(fast);
    };
    m_listener->atEnd = [&](CurlMulti& loop, CurlDownloader& child) {
        if (&child != fast.get())
            return;
        EXPECT_EQ(slow->currentState(), CurlDownloadState::Running);
        const std::int64_t middle = slow->currentOffset() + 100; // within the next block
        EXPECT_TRUE(slow->endAt(middle));
        EXPECT_TRUE(loop.add(segment(url, middle, kSize / 2)));
    };
    EXPECT_EQ(succeededOf(run({slow})), 3);
    EXPECT_EQ(m_listener->ends.front(), fast.get());
    EXPECT_EQ(m_receiver->count, kSize) << "no byte twice";
    EXPECT_TRUE(m_receiver->content == test::sample(0, kSize));
    const auto requests = m_server.requests();
    EXPECT_EQ(requests[1].connection, requests[2].connection) << "the helper goes on with the fast one's";
}

TEST_F(CurlMultiTest, WhatEndsOneChildLeavesTheOthersAlone) {
    const std::string url = m_server.url(300'000, "stall=1000&until=2&rate=300000");
    const CurlMulti::Children silent{segment(url, 0, 100'000), segment(url, 100'000, 200'000)};
    const auto good = segment(url, 200'000, 300'000);
    bool isAdded = false;
    m_listener->atTurn = [&](CurlMulti& loop) {
        if (m_receiver->count < 2000)
            return;
        if (!std::exchange(isAdded, true))
            loop.add(good);
        if (good->currentOffset() == 200'000)
            return;
        silent[0]->requestStop();
        silent[1]->endAt(101'000);
    };
    run(silent);
    EXPECT_EQ(m_listener->ends.back(), good.get());
    EXPECT_EQ(silent[0]->segment().errorCode(), CURLE_ABORTED_BY_CALLBACK);
    EXPECT_EQ(silent[1]->currentState(), CurlDownloadState::Succeeded);
    EXPECT_EQ(good->currentState(), CurlDownloadState::Succeeded);
    EXPECT_EQ(m_receiver->count, 102'000);
    EXPECT_EQ(m_server.requests().size(), 3u);
}

TEST_F(CurlMultiTest, WhatIsTakenIsRunAlsoWhileTheLastChildEnds) {
    for (int round = 0; round < 50; ++round) {
        m_receiver->count = 0;
        CurlMulti loop({segment(m_server.url(10))}, m_environment.connectionPools);
        std::thread transfer([&] { loop.downloadAndBlock(); });
        std::int64_t taken = 0;
        do {
            ++taken;
            while (m_receiver->count < 10 * taken) // then the last child is about to end
                std::this_thread::yield();
        } while (taken < 20 && loop.add(segment(m_server.url(10))));
        transfer.join();
        EXPECT_EQ(succeededOf(loop.downloaders()), taken);
    }
}

TEST_F(CurlMultiTest, WhatIsAskedForBeforeTheStartHolds) {
    CurlMulti stopped({segment(m_server.url(1000))}, m_environment.connectionPools);
    stopped.requestStop();
    stopped.requestResume();
    EXPECT_FALSE(stopped.add(segment(m_server.url(1000))));
    stopped.downloadAndBlock();
    EXPECT_TRUE(stopped.error()) << "what was stopped has not succeeded";
    EXPECT_TRUE(m_server.requests().empty());

    const CurlMulti::Children paused{segment(m_server.url(1000)), segment(m_server.url(1000))};
    CurlMulti loop({paused[0]}, m_environment.connectionPools);
    loop.requestPause();
    std::thread transfer([&] { loop.downloadAndBlock(); });
    EXPECT_TRUE(loop.add(paused[1]));
    EXPECT_TRUE(test::turnUntil([&] { return paused[0]->isPaused() && paused[1]->isPaused(); }));
    EXPECT_EQ(m_receiver->count, 0);
    loop.requestResume();
    transfer.join();
    EXPECT_EQ(m_receiver->count, 2000);
}

TEST_F(CurlMultiTest, AnEarlierEndIsKeptToTheByte) {
    const auto child = segment("http://h/f", 100, 1100);
    const auto arrives = [&](std::int64_t from, std::int64_t count) {
        return child->curlHasData(child->segment(), test::sample(from, count));
    };
    EXPECT_FALSE(child->endAt(99) || child->endAt(1101));
    EXPECT_TRUE(child->endAt(1100));
    EXPECT_EQ(arrives(100, 300), 300);
    EXPECT_FALSE(child->endAt(399));
    EXPECT_TRUE(child->endAt(600));
    EXPECT_FALSE(child->endAt(601)) << "an end is not taken back";
    EXPECT_EQ(arrives(400, 300), kPauseTransfer);
    EXPECT_EQ(arrives(400, 300), kPauseTransfer) << "as libcurl does when it is resumed";
    child->deliverPending();
    EXPECT_EQ(m_receiver->count, 500);
    EXPECT_TRUE(m_receiver->content.substr(100) == test::sample(100, 500));
    child->didComplete();
    child->requestStop();
    EXPECT_EQ(child->currentState(), CurlDownloadState::Succeeded);
    EXPECT_FALSE(child->endAt(600));
}

TEST(SpeedWindow, KnowsTheLastSecondsOnly) {
    SpeedWindow window;
    std::int64_t total = 7;
    TimePoint now;
    const auto speedAfter = [&](std::chrono::milliseconds time, std::int64_t count) {
        return window.speed(now += time, total += count);
    };
    EXPECT_EQ(speedAfter(0ms, 0), 0);
    EXPECT_EQ(speedAfter(500ms, 500), 1000);
    for (int second = 0; second < 20; ++second)
        speedAfter(1000ms, 2000);
    EXPECT_EQ(speedAfter(1000ms, 2000), 2000) << "the beginning is forgotten";
    EXPECT_EQ(speedAfter(5000ms, 0), 0);
}

} // namespace tarvo
