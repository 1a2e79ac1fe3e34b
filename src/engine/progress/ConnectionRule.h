// How connections share what is missing of a file while it is fetched: pure rules.
#pragma once

#include <cstdint>
#include <vector>

#include "base/Clock.h"
#include "engine/progress/ProgressData.h"

namespace tarvo {

/// A range that a connection brings.
struct WorkingRange {
    std::int64_t next = 0; ///< the offset at which its next byte belongs
    std::int64_t end = 0;  ///< one past its last byte
    double speed = 0;      ///< bytes per second; 0: not measured yet
    Seconds age{};         ///< since it was asked for
    Seconds silence{};     ///< since its last byte; since it was asked for where none has come
    bool hasBegun = false; ///< a byte has come
    int group = 0;         ///< those of one number above 0 bring the same bytes
};

/// What is known of a transfer at one moment.
struct WorkSituation {
    std::vector<WorkingRange> working{};
    std::vector<ByteRange> holes{}; ///< what is missing and what no connection brings, ascending
    std::int64_t idle = 0;          ///< how many more connections may be begun; below 0: none
    Seconds roundTrip{};            ///< from asking for a range to its first byte
    double usualSpeed = 0;          ///< of one connection, bytes per second; 0: not known yet
    double lineSpeed = 0;           ///< of all connections together at their best
    std::int64_t leastChunk = 1;    ///< no range is cut smaller, in bytes
};

struct WorkStep {
    enum class Kind {
        start,  ///< a newcomer brings [from, to)
        cut,    ///< `range` ends at `from`; a newcomer brings [from, to). Not if `range` has come further
        repeat, ///< a newcomer brings [from, to) beside `range`: the first byte to arrive counts
        end     ///< `range` ends where it is; what it lacks is brought by its group, or is a hole
    };

    Kind kind = Kind::start;
    std::size_t range = 0; ///< its place among the working ones; of a start none
    std::int64_t from = 0;
    std::int64_t to = 0;

    bool operator==(const WorkStep& other) const = default;
};

/// What to do, in this order. Each idle connection takes a hole, the largest first; then it helps where the
/// longest time remains, so that all who share a range end together; at the end it repeats what is slow or
/// silent. None begins what is not worth the time that it takes to begin.
std::vector<WorkStep> nextSteps(const WorkSituation& situation);

/// Whether a connection that is to be given back may as well bring the `left` bytes before.
bool endsSoon(std::int64_t left, double speed);

/// Whether so long a silence says that nothing more may come.
bool isSilent(Seconds silence, Seconds roundTrip);

/// What of `missing`, which is ascending, none of the working ones brings.
std::vector<ByteRange> holesBeside(const std::vector<WorkingRange>& working, const ByteRanges& missing);

/// The same holes, in parts where one of `starts`, which are ascending, is within, and in equal ones where
/// one would be larger than `largest`, in bytes. A part that is fetched to its end leaves a connection for
/// the next one; one that is cut does not.
std::vector<ByteRange> splitAt(const std::vector<ByteRange>& holes, const std::vector<std::int64_t>& starts,
                               std::int64_t largest);

/// The largest part of what a connection of that speed (bytes per second, 0: not known) is to bring at once
/// where each counts: so that asking for the next one costs little, and passing it on is soon possible.
std::int64_t largestPart(double speed, Seconds roundTrip);

/// The middle one of some speeds, in bytes per second; 0 of none.
double usualSpeedOf(std::vector<double> speeds);

} // namespace tarvo
