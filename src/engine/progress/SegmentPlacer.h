// Cuts a fresh file of known size into equal consecutive segments.
#pragma once

#include "engine/progress/ProgressData.h"

namespace tarvo {

class SegmentPlacer {
public:
    /// Divides `progressData`'s size; no segment is smaller than `minimumChunkSize` bytes, except the
    /// file itself.
    SegmentPlacer(const ProgressData& progressData, std::int64_t minimumChunkSize);

    /// About `count` (at least 1) segments, ascending and contiguous over the whole file; none for an
    /// unknown size. A remainder below the minimum is absorbed by the last one.
    ByteRanges findSegmentLocations(std::int64_t count) const;

private:
    const ProgressData& m_progressData;
    const std::int64_t m_minimumChunkSize;
};

} // namespace tarvo
