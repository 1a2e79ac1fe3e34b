// Background looks: what a disk owes holds nobody up at the end.
#include "base/LookQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

namespace tarvo {

TEST(LookQueue, TheEndWaitsForNoDiskAndBeginsNothing) {
    std::promise<void> answer;
    const auto shared = std::make_shared<std::shared_future<void>>(answer.get_future());
    const auto begun = std::make_shared<std::atomic<int>>(0);
    const auto start = std::chrono::steady_clock::now();
    {
        LookQueue queue(2);
        for (int i = 0; i < 3; ++i)
            queue.async([shared, begun] {
                ++*begun;
                shared->wait();
            });
        while (*begun < 2)
            std::this_thread::yield();
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(*begun, 2) << "the third had no place";
    EXPECT_EQ(LookQueue::left(), 2U);
    answer.set_value();
    while (LookQueue::left() > 0)
        std::this_thread::yield();
}

TEST(LookQueue, RunsOneAfterTheOtherAndWaitsForWhatIsQuick) {
    std::string order;
    {
        LookQueue queue;
        std::promise<void> done;
        for (const char letter : {'a', 'b', 'c'})
            queue.async([&order, letter] { order += letter; });
        queue.async([&done] { done.set_value(); });
        done.get_future().wait();
    }
    EXPECT_EQ(order, "abc");
    EXPECT_EQ(LookQueue::left(), 0U);
}

} // namespace tarvo
