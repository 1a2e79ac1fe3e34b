// Over how many connections a file is worth fetching.
#include "engine/progress/ConnectionWorth.h"

#include <limits>

#include <gtest/gtest.h>

namespace tarvo {

TEST(ConnectionWorth, OneThatHasToBeOpenedBringsMoreThanARoundTripsWorth) {
    const LinePace unknown{};
    const LinePace far{Seconds(0.08), 1e6}; // 80,000 bytes a round trip
    const LinePace near{Seconds(0.0002), 1e9};
    constexpr std::int64_t huge = std::numeric_limits<std::int64_t>::max();

    const struct {
        const char* of;
        std::int64_t size, wanted, open;
        LinePace pace;
        std::int64_t worth;
    } cases[] = {
        {"an unknown size", 0, 10, 0, far, 10},
        {"an unknown pace", 1'000'000, 10, 2, unknown, 10},
        {"an unknown speed", 1'000'000, 10, 2, {Seconds(0.08), 0}, 10},
        {"a first flight", kFirstFlight, 10, 10, unknown, 1},
        {"more than that", kFirstFlight + 1, 10, 0, unknown, 10},
        {"less than a round trip", 80'000, 10, 10, far, 1},
        {"more than one, but not two", 159'999, 10, 0, far, 1},
        {"two", 160'000, 10, 0, far, 2},
        {"what open connections share for nothing", 100'000, 10, 4, far, 4},
        {"no more than wanted of them", 100'000, 3, 8, far, 3},
        {"many", 10'000'000, 10, 2, far, 10},
        {"a near server", 10'000'000, 10, 2, near, 10},
        {"the largest file on the slowest line", huge, 64, 0, {Seconds(1e-9), 1e-9}, 64},
        {"the fastest line", huge, 64, 0, {Seconds(1e9), 1e18}, 1},
    };

    for (const auto& [of, size, wanted, open, pace, worth] : cases)
        EXPECT_EQ(connectionsWorth(size, wanted, open, pace), worth) << of;
}

} // namespace tarvo
