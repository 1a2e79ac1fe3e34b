#include "engine/progress/HandleCreator.h"

#include "base/Log.h"
#include "base/Settings.h"
#include "engine/progress/SegmentPlacer.h"

#include <algorithm>

namespace tarvo {

namespace {

std::string textOf(const ByteRanges& ranges) {
    std::string text;
    for (const auto& range : ranges)
        text += (text.empty() ? "" : ", ") + range->description();
    return "[" + text + "]";
}

void sortBySize(ByteRanges& ranges) {
    std::stable_sort(ranges.begin(), ranges.end(),
                     [](const auto& a, const auto& b) { return a->size() < b->size(); });
}

} // namespace

ByteRanges planHoles(ByteRanges holes, std::int64_t count) {
    sortBySize(holes);
    // A hole of one byte can't be shared: an empty range would be asked for as the whole file.
    while (static_cast<std::int64_t>(holes.size()) < count && !holes.empty() && holes.back()->size() > 1) {
        const auto largest = holes.back();
        holes.pop_back();
        const std::int64_t middle = largest->lowerBound + largest->size() / 2;
        holes.push_back(std::make_shared<ByteRange>(largest->lowerBound, middle));
        holes.push_back(std::make_shared<ByteRange>(middle, largest->upperBound));
        sortBySize(holes);
    }
    std::reverse(holes.begin(), holes.end());
    if (static_cast<std::int64_t>(holes.size()) > count)
        holes.resize(static_cast<std::size_t>(count));
    return holes;
}

HandleCreator::HandleCreator(std::shared_ptr<const ProgressData> progressData, CurlRequest request,
                             std::weak_ptr<CurlDownloaderDelegate> handleDelegate,
                             const TransferEnvironment& environment)
    : m_progressData(std::move(progressData)), m_request(std::move(request)),
      m_delegate(std::move(handleDelegate)), m_environment(environment) {
}

HandleCreator::Handles HandleCreator::createHandles(std::int64_t count) const {
    if (m_progressData->isIndeterminateSize())
        return createWholeHandle();
    const std::int64_t done = m_progressData->totalBytesDownloaded();
    if (done == 0)
        return handlesFor(SegmentPlacer(*m_progressData, Settings(m_environment.defaults).minimumChunkSize())
                              .findSegmentLocations(count));
    if (done < m_progressData->sizeInBytes)
        return handlesForExistingProgressData(count);
    Log::error("Either 100% file is done or corrupted: {} / {}", done, m_progressData->sizeInBytes);
    return {};
}

HandleCreator::Handles HandleCreator::handlesForExistingProgressData(std::int64_t count) const {
    const ByteRanges holes = m_progressData->readoutHoles();
    if (!Log::assertThat(!holes.empty(), "an incomplete record has holes")) {
        Log::error("Holes are empty for progressdata: {}", textOf(m_progressData->readout()));
        return {};
    }
    return handlesFor(planHoles(holes, count));
}

HandleCreator::Handles HandleCreator::handlesFor(const ByteRanges& ranges) const {
    Handles handles;
    for (const auto& range : ranges)
        handles.push_back(createHandle(*range));
    return handles;
}

HandleCreator::Handles HandleCreator::createWholeHandle() const {
    return {createHandle({0, 0})}; // no range is asked for
}

std::shared_ptr<CurlDownloader> HandleCreator::createHandle(const ByteRange& range) const {
    CurlRequest request = m_request;
    request.lowerBound = range.lowerBound;
    request.upperBound = range.upperBound;
    auto handle =
        CurlDownloader::create(std::make_unique<LiveCurlSegment>(std::move(request), m_environment));
    handle->setDelegate(m_delegate);
    return handle;
}

} // namespace tarvo
