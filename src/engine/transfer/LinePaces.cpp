#include "engine/transfer/LinePaces.h"

#include <algorithm>

#include "engine/transfer/CurlDownloader.h"

namespace tarvo {

namespace {

constexpr std::size_t kMostServers = 1000;

/// What came in fewer bytes was hardly under way: that says nothing of the speed.
constexpr std::int64_t kTelling = 64 * 1024;
constexpr Seconds kShortest{0.001};

/// Half of it is what was last measured.
template <class Value>
Value followed(Value known, Value measured) {
    return known > Value{} ? (known + measured) / 2 : measured;
}

} // namespace

void LinePaces::note(const Url& url, const CurlDownloader& ended) {
    const CurlSegment& segment = ended.segment();
    const std::int64_t bytes = ended.currentOffset() - segment.request().lowerBound;
    const Seconds roundTrip = segment.roundTrip();
    if (bytes <= 0 || roundTrip <= Seconds{})
        return;
    auto paces = m_paces.lock();
    if (paces->size() >= kMostServers)
        paces->clear();
    LinePace& pace = (*paces)[url.origin()];
    pace.roundTrip = followed(pace.roundTrip, roundTrip);
    if (bytes >= kTelling)
        pace.speed = followed(pace.speed,
                              static_cast<double>(bytes) / std::max(segment.bodyTime(), kShortest).count());
}

LinePace LinePaces::of(const Url& url) {
    auto paces = m_paces.lock();
    const auto found = paces->find(url.origin());
    return found == paces->end() ? LinePace{} : found->second;
}

} // namespace tarvo
