#include "engine/progress/SegmentPlacer.h"

#include "base/Log.h"

#include <algorithm>

namespace tarvo {

SegmentPlacer::SegmentPlacer(const ProgressData& progressData, std::int64_t minimumChunkSize)
    : m_progressData(progressData), m_minimumChunkSize(std::max<std::int64_t>(minimumChunkSize, 1)) {
}

ByteRanges SegmentPlacer::findSegmentLocations(std::int64_t count) const {
    const std::int64_t size = m_progressData.sizeInBytes;
    ByteRanges segments;
    if (!Log::assertThat(count >= 1, "at least one segment") || size < 1)
        return segments;
    const std::int64_t chunk = std::max(size / count, m_minimumChunkSize);
    std::int64_t start = 0;
    while (start < size) {
        // Differences, not sums: near the largest offset a sum would overflow.
        const std::int64_t left = size - start;
        const bool absorbsTheRest = left <= chunk || left - chunk < m_minimumChunkSize;
        const std::int64_t end = absorbsTheRest ? size : start + chunk;
        segments.push_back(std::make_shared<ByteRange>(start, end));
        start = end;
    }
    return segments;
}

} // namespace tarvo
