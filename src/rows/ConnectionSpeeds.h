// How fast each connection of a download is, and how that is told.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/Clock.h"
#include "jobs/SegmentsSnapshot.h"

namespace tarvo {

/// Looks at the places of a download's connections now and then, and takes the difference. One that has gone
/// on to another range counts as another one. One thread.
class ConnectionSpeeds {
public:
    /// The time that a speed is the mean of: long enough for blocks that come in bursts.
    static constexpr Seconds kWindow{3};

    /// In bytes per second, in the order of `connections`; none of those that are seen for the first time.
    std::vector<std::optional<std::int64_t>> look(TimePoint now,
                                                  const std::vector<ConnectionSpan>& connections);

    void clear() { m_looks.clear(); }

private:
    struct Look {
        TimePoint at;
        std::map<std::int64_t, std::int64_t> places; // by the first byte of a connection
    };

    std::deque<Look> m_looks; // of the last kWindow
};

/// A line for each of `connections`, numbered from 1 as those of a drawing are: its speed, and how much it
/// has brought of what it is to bring. A few dozen lines at most, and then how many more there are.
std::string connectionsText(const std::vector<ConnectionSpan>& connections,
                            const std::vector<std::optional<std::int64_t>>& speeds);

} // namespace tarvo
