#include "engine/progress/PlaceDivision.h"

#include <algorithm>

namespace tarvo {

std::vector<std::int64_t> dividePlaces(std::int64_t places, const std::vector<PlaceClaim>& claims) {
    std::vector<std::int64_t> parts(claims.size());
    for (bool someGotOne = true; someGotOne && places > 0;) {
        someGotOne = false;
        for (std::size_t i = 0; i < claims.size() && places > 0; ++i) {
            if (parts[i] >= claims[i].wanted)
                continue;
            ++parts[i];
            --places;
            someGotOne = true;
        }
    }
    return parts;
}

PlaceChange placeChange(std::int64_t places, const std::vector<PlaceClaim>& claims, std::size_t mine) {
    const auto parts = dividePlaces(places, claims);
    std::int64_t taken = 0;
    std::int64_t lacking = 0; // what the others do
    for (std::size_t i = 0; i < claims.size(); ++i) {
        taken += claims[i].taken;
        if (i != mine)
            lacking += std::max<std::int64_t>(parts[i] - claims[i].taken, 0);
    }
    const std::int64_t difference = parts[mine] - claims[mine].taken;
    const std::int64_t free = places - taken;
    if (difference > 0)
        return {difference, std::clamp<std::int64_t>(free, 0, difference), 0};
    return {0, 0, std::clamp<std::int64_t>(lacking - free, 0, -difference)};
}

} // namespace tarvo
