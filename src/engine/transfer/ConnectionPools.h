// Lends pools of connections, so that one download goes on with the connections of the one before.
#pragma once

#include <deque>
#include <memory>
#include <string>

#include "base/Clock.h"
#include "base/Locked.h"
#include "base/Url.h"
#include "engine/transfer/ConnectionPool.h"
#include "engine/transfer/CurlShare.h"
#include "engine/transfer/SpeedLimit.h"
#include "engine/transfer/TRAuthToken.h"

namespace tarvo {

/// Any thread. A pool that is lent belongs to the borrower's thread until the last copy of the lease goes;
/// then its connections wait here for the next one for the same server. libcurl sees to it that no
/// connection serves other names, passwords or proxies than it was made with; SSH keys, which it does not
/// tell apart, have pools of their own. Gone before LiveCurlSegment::cleanup(); a lease that outlives this
/// closes its pool when it ends.
class ConnectionPools {
public:
    /// What waits here at the most, and for how long.
    static constexpr std::size_t kMostIdle = 32;
    static constexpr Seconds kLongestIdle{5.0};

    /// `clock` outlives this.
    explicit ConnectionPools(const Clock& clock) : m_clock(clock) {}

    /// A pool that is not in use: of those that came back from the server of `url` and the SSH key of `auth`,
    /// which may be null, the one whose open connections fit best for `wanted` transfers; else a new one.
    std::shared_ptr<ConnectionPool> lend(const Url& url, const TRAuthToken* auth = nullptr,
                                         std::size_t wanted = 1);

    /// How many open connections lend() could give to that server's transfers, one pool's at the most.
    std::size_t openConnections(const Url& url, const TRAuthToken* auth = nullptr) const;

    /// What else all transfers share.
    const std::shared_ptr<CurlShare>& share() const { return m_share; }

    /// Closes what has waited for too long. Waits for no server; to be called about once a second.
    void closeIdle(TimePoint now);

    /// That holds for all transfers over these pools.
    SpeedLimit& speedLimit() { return m_speedLimit; }

    /// Hands `pool` what it may read in its next turn, and takes what it has read in the last one. False:
    /// nothing yet.
    bool share(ConnectionPool& pool);

    std::size_t idleCount() const { return m_idle->lock()->size(); }

private:
    struct Idle {
        std::unique_ptr<ConnectionPool> pool;
        std::string server;
        TimePoint since;
    };

    using Shelf = Locked<std::deque<Idle>>; // the longest waiting in front

    static void takeBack(Shelf& shelf, Idle idle);

    const Clock& m_clock;
    SpeedLimit m_speedLimit;
    const std::shared_ptr<CurlShare> m_share = std::make_shared<CurlShare>();
    const std::shared_ptr<Shelf> m_idle = std::make_shared<Shelf>();
};

} // namespace tarvo
