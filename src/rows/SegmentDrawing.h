// How the parts of a file are drawn in a bar, and what a screen reader says of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "jobs/SegmentsSnapshot.h"

namespace tarvo {

enum class SegmentKind {
    missing,  ///< no byte is there, and none is on its way
    partly,   ///< some bytes are there, and none is on its way
    fetching, ///< a connection brings what is missing
    done,     ///< every byte is there
};

/// The pixels [from, to) of the bar.
struct SegmentPiece {
    int from = 0;
    int to = 0;
    SegmentKind kind = SegmentKind::missing;
    int connection = 0; ///< of one being fetched: its number, from 1, in the order of the file

    bool operator==(const SegmentPiece&) const = default;
};

/// Where a connection is: between this pixel and the one before it.
struct SegmentHead {
    int at = 0;
    int connection = 0;

    bool operator==(const SegmentHead&) const = default;
};

struct SegmentDrawing {
    std::vector<SegmentPiece> pieces{}; ///< the whole bar from left to right; none for an unknown size
    std::vector<SegmentHead> heads{};
};

/// At most `width` pieces, whatever the number of ranges: a pixel is done only if all of its bytes are, so
/// that the last hole is seen. Takes time for the ranges and the pixels. Any thread.
SegmentDrawing drawingOf(const SegmentsSnapshot& segments, int width);

/// The connections in the order of the file, as the numbers of a drawing count them.
std::vector<ConnectionSpan> inOrder(std::vector<ConnectionSpan> connections);

/// How many parts of the file are not there; 0 for an unknown size.
std::size_t missingParts(const SegmentsSnapshot& segments);

/// How many bytes are there from the file's first on.
std::int64_t doneFromStart(const SegmentsSnapshot& segments);

/// "62 percent; 5 connections; 3 parts missing". `percent` below 0: not known.
std::string spokenSegments(const SegmentsSnapshot& segments, double percent);

} // namespace tarvo
