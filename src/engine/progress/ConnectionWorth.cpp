#include "engine/progress/ConnectionWorth.h"

#include <algorithm>

namespace tarvo {

std::int64_t connectionsWorth(std::int64_t size, std::int64_t wanted, std::int64_t open,
                              const LinePace& pace) {
    if (size < 1)
        return wanted;
    const double ofARoundTrip = pace.speed * pace.roundTrip.count();
    if (size <= kFirstFlight || static_cast<double>(size) <= ofARoundTrip)
        return 1;
    if (ofARoundTrip <= 0)
        return wanted;
    // As a number only once it is small enough for one.
    const double parts = std::min(static_cast<double>(size) / ofARoundTrip, static_cast<double>(wanted));
    return std::clamp<std::int64_t>(std::max(static_cast<std::int64_t>(parts), open), 1, wanted);
}

} // namespace tarvo
