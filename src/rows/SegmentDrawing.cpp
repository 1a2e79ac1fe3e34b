#include "rows/SegmentDrawing.h"

#include <algorithm>

#include "base/Localized.h"

namespace tarvo {

namespace {

/// The bytes of each pixel of a bar; of a file with fewer bytes than pixels, neighbours share one.
class Pixels {
public:
    Pixels(std::int64_t fileSize, int width) : m_size(fileSize), m_width(width) {}

    ByteSpan bytesOf(int pixel) const {
        const std::int64_t from = std::min(offsetOf(pixel), m_size - 1);
        return {from, std::max(from + 1, offsetOf(pixel + 1))};
    }

    int pixelOf(std::int64_t offset) const {
        const auto share = static_cast<long double>(offset) / static_cast<long double>(m_size);
        return std::clamp(static_cast<int>(share * m_width), 0, m_width);
    }

private:
    std::int64_t offsetOf(int pixel) const {
        return static_cast<std::int64_t>(static_cast<long double>(m_size) * pixel / m_width);
    }

    const std::int64_t m_size;
    const int m_width;
};

std::int64_t overlap(const ByteSpan& one, const ByteSpan& other) {
    return std::max<std::int64_t>(0, std::min(one.to, other.to) - std::max(one.from, other.from));
}

/// Goes through spans in their order along with pixels in theirs.
class DoneBytes {
public:
    explicit DoneBytes(const std::vector<ByteSpan>& spans) : m_next(spans.begin()), m_end(spans.end()) {}

    std::int64_t in(const ByteSpan& bytes) {
        while (m_next != m_end && m_next->to <= bytes.from)
            ++m_next;
        std::int64_t done = 0;
        for (auto span = m_next; span != m_end && span->from < bytes.to; ++span)
            done += overlap(*span, bytes);
        return done;
    }

private:
    std::vector<ByteSpan>::const_iterator m_next;
    std::vector<ByteSpan>::const_iterator m_end;
};

SegmentKind kindOf(std::int64_t done, std::int64_t all, int connection) {
    if (done == all)
        return SegmentKind::done;
    if (connection > 0)
        return SegmentKind::fetching;
    return done > 0 ? SegmentKind::partly : SegmentKind::missing;
}

/// The number of the connection that brings bytes of the pixel; 0: none does.
int numberAt(const std::vector<ConnectionSpan>& connections, const ByteSpan& bytes) {
    const auto brings = [&](const ConnectionSpan& one) { return overlap({one.from, one.to}, bytes) > 0; };
    const auto found = std::find_if(connections.begin(), connections.end(), brings);
    return found == connections.end() ? 0 : static_cast<int>(found - connections.begin()) + 1;
}

void append(std::vector<SegmentPiece>& pieces, const SegmentPiece& next) {
    const bool joins =
        !pieces.empty() && pieces.back().kind == next.kind && pieces.back().connection == next.connection;
    if (joins)
        pieces.back().to = next.to;
    else
        pieces.push_back(next);
}

} // namespace

std::vector<ConnectionSpan> inOrder(std::vector<ConnectionSpan> connections) {
    std::sort(connections.begin(), connections.end(),
              [](const auto& one, const auto& other) { return one.from < other.from; });
    return connections;
}

SegmentDrawing drawingOf(const SegmentsSnapshot& segments, int width) {
    SegmentDrawing drawing;
    if (segments.fileSize < 1 || width < 1)
        return drawing;
    const Pixels pixels(segments.fileSize, width);
    auto connections = inOrder(segments.connections);
    for (auto& connection : connections) {
        if (connection.to < 1)
            connection.to = segments.fileSize;
        drawing.heads.push_back(
            {pixels.pixelOf(connection.current), static_cast<int>(drawing.heads.size()) + 1});
    }
    DoneBytes doneBytes(segments.done);
    for (int pixel = 0; pixel < width; ++pixel) {
        const ByteSpan bytes = pixels.bytesOf(pixel);
        const std::int64_t done = doneBytes.in(bytes);
        const int number = numberAt(connections, bytes);
        const SegmentKind kind = kindOf(done, bytes.to - bytes.from, number);
        append(drawing.pieces, {pixel, pixel + 1, kind, kind == SegmentKind::fetching ? number : 0});
    }
    return drawing;
}

std::size_t missingParts(const SegmentsSnapshot& segments) {
    std::int64_t reached = 0;
    std::size_t missing = 0;
    for (const auto& span : segments.done) {
        missing += span.from > reached ? 1 : 0;
        reached = span.to;
    }
    return missing + (segments.fileSize > reached ? 1 : 0);
}

std::int64_t doneFromStart(const SegmentsSnapshot& segments) {
    const bool isThere = !segments.done.empty() && segments.done.front().from == 0;
    return isThere ? segments.done.front().to : 0;
}

std::string spokenSegments(const SegmentsSnapshot& segments, double percent) {
    const auto at = localizedCount("tr.info.connections-spoken", segments.connections.size());
    if (segments.fileSize < 1 || percent < 0)
        return localized("tr.info.size-unknown-spoken", {at});
    const auto missing = localizedCount("tr.info.parts-missing", missingParts(segments));
    return localized("tr.info.segments-spoken",
                     {std::to_string(static_cast<int>(std::clamp(percent, 0.0, 100.0))), at, missing});
}

} // namespace tarvo
