// How many connections a server allows, as it lets its clients find out.
#pragma once

#include <cstdint>
#include <limits>

#include "base/Clock.h"

namespace tarvo {

/// What a connection's end says of how many the server allows.
enum class Refusal {
    none,
    hinted, ///< it was reset, or never answered: too many connections, or a bad line
    said    ///< the server has said so: HTTP 503 or 429, FTP 421, or no connection at all
};

/// Of one server: not more than were at work when one more was turned away. From time to time one more is
/// tried, ever less often while that is in vain. One thread at a time.
class ConnectionAllowance {
public:
    static constexpr std::int64_t kNoLimit = std::numeric_limits<std::int64_t>::max();

    /// From a refusal to the next trial: of the first in a row, and the longest.
    static constexpr Seconds kWaitAfterHint{10.0};
    static constexpr Seconds kLongestAfterHint{120.0};
    static constexpr Seconds kWaitAfterWord{60.0};
    static constexpr Seconds kLongestAfterWord{600.0};
    /// From a trial that went well to the next one.
    static constexpr Seconds kWaitAfterSuccess{10.0};
    /// What the server asks for is honoured up to here (RFC 9110, section 10.2.3).
    static constexpr Seconds kLongestAskedFor{3600.0};
    /// A connection that has ended here may be at work for the server for so long.
    static constexpr Seconds kDoubt{1.0};

    /// One was turned away, or never answered, while `others` were at work; the server asks not to be asked
    /// for `retryAfter`. Where no other one is at work the server is away, which says nothing: what was not
    /// seen at work since is forgotten.
    void noteRefusal(Refusal kind, std::int64_t others, Seconds retryAfter, TimePoint now);

    /// So many connections bring bytes at the same time.
    void noteAtWork(std::int64_t connections, TimePoint now);

    /// How many there may be now, the one that is tried among them.
    std::int64_t most(TimePoint now) const;

    /// How many the server allows, once that is sure: it has said so, or has turned one away again; kNoLimit
    /// while it is not.
    std::int64_t known() const { return m_isSure ? m_confirmed : kNoLimit; }

    /// What was found out earlier. The next trial is due after a wait.
    void restore(std::int64_t known, TimePoint now);

private:
    void lower(Refusal kind, std::int64_t others, TimePoint now);

    std::int64_t m_most = kNoLimit;
    std::int64_t m_confirmed = kNoLimit; // m_most when some were at work for the last time
    std::int64_t m_seen = 0;             // at work at the same time, since m_most was lowered last
    bool m_isSure = false;
    Seconds m_wait{};
    TimePoint m_nextTrial{};
    std::int64_t m_doubted = kNoLimit; // others at a refusal that contradicts m_seen
    TimePoint m_doubtedUntil{};
};

} // namespace tarvo
