// The ways between threads: order on a serial queue, the way to the main thread, and no worker left behind.
#include "base/Runloop.h"
#include "base/SerialQueue.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <QEventLoop>
#include <QTimer>
#include <gtest/gtest.h>

#include "support/TurnUntil.h"

namespace tarvo {

TEST(SerialQueue, RunsInTheOrderOfHandingInAndSyncOnTheCaller) {
    std::vector<int> order; // no lock: the queue is what serialises
    {
        SerialQueue queue("test");
        for (int i = 0; i < 100; ++i)
            queue.async([&order, i] { order.push_back(i); });
        queue.sync([&, caller = std::this_thread::get_id()] {
            order.push_back(100);
            EXPECT_EQ(std::this_thread::get_id(), caller);
        });
        queue.async([&order] { order.push_back(101); });
    } // its end waits for what was handed in
    ASSERT_EQ(order.size(), 102u);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(Runloop, ALoopInsideAClosureServesThoseWhoWaitAndThoseWhoCome) {
    std::vector<std::string> order;
    QEventLoop dialog;
    QTimer::singleShot(std::chrono::seconds(5), &dialog,
                       &QEventLoop::quit); // a dialog that starves them ends, too
    std::thread worker;
    bool ended = false;
    Runloop::runOnNextTurn([&] {
        order.emplace_back("opens");
        worker = std::thread([&] {
            Runloop::runOnMainAndWait([&] { order.emplace_back("came"); });
            Runloop::runOnMainAndWait([&] { ended = true; });
            dialog.quit();
        });
        dialog.exec();
        order.emplace_back("closed");
    });
    Runloop::runOnNextTurn([&] { order.emplace_back("waited"); });
    EXPECT_TRUE(test::turnUntil([&] { return ended && order.size() >= 4; }));
    worker.join();
    EXPECT_EQ(order, (std::vector<std::string>{"opens", "waited", "came", "closed"}));
}

TEST(Runloop, AClosureMayHoldWhatHandsInAnotherAtItsEnd) {
    bool ended = false;
    const auto last = [&](int*) { Runloop::runOnNextTurn([&] { ended = true; }); };
    Runloop::runOnNextTurn([held = std::shared_ptr<int>(nullptr, last)] {});
    EXPECT_TRUE(test::turnUntil([&] { return ended; })); // never, if it waits for itself
}

TEST(Runloop, ReleasesWhoStillWaitsWhenTheProgramQuits) {
    const auto quitUnderAWorker = [] {
        std::atomic<bool> waits{false};
        bool ran = true;
        std::thread worker;
        {
            const Runloop::Main mainThread;
            worker = std::thread([&] {
                waits = true;
                ran = Runloop::runOnMainAndWait([] {});
            });
            while (!waits)
                std::this_thread::yield();
            std::this_thread::sleep_for(std::chrono::milliseconds(20)); // either way it must be released
        }
        worker.join();
        std::_Exit(ran ? 1 : 0);
    };
    EXPECT_EXIT(quitUnderAWorker(), ::testing::ExitedWithCode(0), "");
}

} // namespace tarvo
