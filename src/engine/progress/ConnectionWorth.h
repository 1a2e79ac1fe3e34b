// Over how many connections a file is worth fetching, at the pace of its server: a pure rule.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/Clock.h"

namespace tarvo {

/// What one connection to a server is like. 0: not known yet.
struct LinePace {
    Seconds roundTrip{}; ///< from a request to its first byte
    double speed = 0;    ///< bytes per second
};

/// What a server may send before it hears anything of the client: ten segments of 1,460 bytes (RFC 6928,
/// section 2).
inline constexpr std::int64_t kFirstFlight = 14'600;

/// Over how many connections, 1 to `wanted`, the transfer of `size` bytes (0: unknown) is to begin, when
/// `open` are open already. One that has to be opened must bring more than a round trip's worth; what one
/// connection brings in less than a round trip, or in its first flight, is one request. As many as wanted
/// where the pace is not known. Those that are missing come when the transfer turns out to be slower
/// (nextSteps).
std::int64_t connectionsWorth(std::int64_t size, std::int64_t wanted, std::int64_t open,
                              const LinePace& pace);

} // namespace tarvo
