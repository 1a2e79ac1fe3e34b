// Which parts of a file are there and which are on their way, at one moment: what a drawing of it needs.
#pragma once

#include <cstdint>
#include <vector>

#include "engine/progress/Validator.h"

namespace tarvo {

/// The bytes [from, to) of a file.
struct ByteSpan {
    std::int64_t from = 0;
    std::int64_t to = 0;

    bool operator==(const ByteSpan&) const = default;
};

/// What one connection brings.
struct ConnectionSpan {
    std::int64_t from = 0;    ///< its first byte
    std::int64_t current = 0; ///< where its next byte belongs
    std::int64_t to = 0;      ///< one past its last byte; below 1: only the server knows
};

struct SegmentsSnapshot {
    std::int64_t fileSize = 0;                 ///< in bytes; below 1: unknown
    std::vector<ByteSpan> done{};              ///< on the disk; ascending, no two touch
    std::vector<ConnectionSpan> connections{}; ///< that have not ended, in no particular order
    Validator validator{};                     ///< of the version that the done bytes are of
};

} // namespace tarvo
