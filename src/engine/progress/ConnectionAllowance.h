// How many connections one transfer may have at once, as its server lets it find out.
#pragma once

#include <cstdint>

#include "base/Clock.h"

namespace tarvo {

/// Not more than are at work when one is turned away; from time to time one more is tried, ever less often
/// while that is in vain. One thread at a time.
class ConnectionAllowance {
public:
    static constexpr Seconds kFirstWait{10.0};
    static constexpr Seconds kLongestWait{120.0};

    explicit ConnectionAllowance(std::int64_t wanted) : m_wanted(wanted), m_most(wanted) {}

    /// A connection was turned away, or was never answered, while `others` were at work.
    void noteRefusal(std::int64_t others, TimePoint now);

    /// So many connections have brought bytes at the same time.
    void noteAtWork(std::int64_t connections, TimePoint now);

    /// How many there may be now, the one that is tried among them.
    std::int64_t most(TimePoint now) const;

private:
    const std::int64_t m_wanted;
    std::int64_t m_most;
    Seconds m_wait = kFirstWait;
    TimePoint m_nextTrial{};
};

} // namespace tarvo
