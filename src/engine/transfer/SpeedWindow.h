// The speed of something whose bytes are counted anyway, over its last seconds.
#pragma once

#include <cstdint>
#include <vector>

#include "base/Clock.h"

namespace tarvo {

/// Costs nothing while bytes arrive: what it needs to know it takes when it is asked. One thread at a time.
class SpeedWindow {
public:
    /// How far back it looks when it is asked at least once a second; else as far as the last question but
    /// one.
    static constexpr Seconds kLength{5.0};

    /// Bytes per second, `total` being all bytes up to `now`. 0 when it is asked for the first time.
    double speed(TimePoint now, std::int64_t total);

private:
    struct Sample {
        TimePoint at;
        std::int64_t total;
    };

    std::vector<Sample> m_samples; // the oldest in front, a second apart at least: a handful
};

} // namespace tarvo
