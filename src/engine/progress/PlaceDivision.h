// How the connections that a host may have are divided among the transfers from it: pure rules.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarvo {

/// What one transfer has of a host's places, and how many it would use.
struct PlaceClaim {
    std::int64_t taken = 0;
    std::int64_t wanted = 0;
};

/// How many of `places` each may have, in their order: one after the other gets one more, until none wants
/// more or none is left.
std::vector<std::int64_t> dividePlaces(std::int64_t places, const std::vector<PlaceClaim>& claims);

/// What one of them is to change.
struct PlaceChange {
    std::int64_t entitled = 0; ///< so many more are its part
    std::int64_t free = 0;     ///< so many of these it may take now; for the others it waits
    std::int64_t surplus = 0;  ///< so many it is to give back, for another one lacks them

    bool operator==(const PlaceChange& other) const = default;
};

PlaceChange placeChange(std::int64_t places, const std::vector<PlaceClaim>& claims, std::size_t mine);

} // namespace tarvo
