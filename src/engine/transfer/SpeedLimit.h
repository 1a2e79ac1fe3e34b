// How fast all downloads together may be.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/Clock.h"
#include "base/Locked.h"

namespace tarvo {

/// A bucket that fills with time, shared by all connections of all downloads (token bucket): each loop takes
/// out of it what has arrived, and while it is empty no connection is read. Servers are held back by full
/// buffers then. A limit of libcurl's own for each connection would have to be shared out anew with every
/// change, and would give what one connection does not use to no other. Any thread; costs a load where there
/// is no limit, else a lock for each turn of a loop.
class SpeedLimit {
public:
    /// Bytes a second; below 1: no limit.
    void setRate(std::int64_t bytesPerSecond);

    std::int64_t rate() const { return m_rate.load(std::memory_order_relaxed); }

    /// Notes `bytes` that have arrived by `now`.
    void take(std::int64_t bytes, TimePoint now);

    /// Bytes that may be read at `now`; below 1: none yet.
    std::int64_t allowance(TimePoint now);

private:
    struct Bucket {
        double owed = 0; // bytes; below 0 there are some to spare
        TimePoint filledAt{};
    };

    void fill(Bucket& bucket, TimePoint now) const;

    std::atomic<std::int64_t> m_rate{0};
    Locked<Bucket> m_bucket;
};

} // namespace tarvo
