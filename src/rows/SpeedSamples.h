// The speed of the last minute, as a curve.
#pragma once

#include <cstdint>
#include <deque>
#include <vector>

#include "base/Clock.h"

namespace tarvo {

/// One thread at a time.
class SpeedSamples {
public:
    static constexpr Seconds kLength{60.0};

    struct Point {
        double x = 0; ///< from 0, a minute ago, to 1, now
        double y = 0; ///< from 0, no byte, to 1, the highest of the minute
    };

    /// Begins anew with what is known: speeds in bytes per second, oldest first, the last one of `now`, half
    /// a second apart.
    void begin(TimePoint now, const std::vector<std::int64_t>& known);

    /// Forgets what is older than a minute.
    void add(TimePoint now, std::int64_t bytesPerSecond);

    /// The curve as it is at `now`; none before there are two samples.
    std::vector<Point> points(TimePoint now) const;

    /// In bytes per second.
    std::int64_t highest() const;

    std::int64_t latest() const { return m_samples.empty() ? 0 : m_samples.back().bytesPerSecond; }

private:
    struct Sample {
        TimePoint at;
        std::int64_t bytesPerSecond;
    };

    std::deque<Sample> m_samples; // ascending
};

} // namespace tarvo
