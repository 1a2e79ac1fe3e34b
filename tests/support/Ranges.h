// Byte ranges as pairs of numbers, so that a test can write and compare them.
#pragma once

#include "engine/progress/ProgressData.h"

#include <utility>
#include <vector>

namespace tarvo::test {

/// [lower, upper) each.
using Bounds = std::vector<std::pair<std::int64_t, std::int64_t>>;

inline ByteRanges rangesOf(const Bounds& bounds) {
    ByteRanges ranges;
    for (const auto& [lower, upper] : bounds)
        ranges.push_back(std::make_shared<ByteRange>(lower, upper));
    return ranges;
}

inline Bounds boundsOf(const ByteRanges& ranges) {
    Bounds bounds;
    for (const auto& range : ranges)
        bounds.emplace_back(range->lowerBound, range->upperBound);
    return bounds;
}

} // namespace tarvo::test
