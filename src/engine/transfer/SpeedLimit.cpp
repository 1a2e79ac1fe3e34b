#include "engine/transfer/SpeedLimit.h"

#include <algorithm>

namespace tarvo {

namespace {

constexpr double kMostSpare = 0.1; // what the bucket holds, in seconds at the limit

} // namespace

void SpeedLimit::setRate(std::int64_t bytesPerSecond) {
    const std::int64_t rate = std::max<std::int64_t>(bytesPerSecond, 0);
    if (m_rate.exchange(rate, std::memory_order_relaxed) != rate)
        m_bucket.lock()->owed = 0;
}

void SpeedLimit::fill(Bucket& bucket, TimePoint now) const {
    const auto perSecond = static_cast<double>(rate());
    const double passed = std::max(Seconds(now - bucket.filledAt).count(), 0.0);
    bucket.owed = std::max(bucket.owed - passed * perSecond, -kMostSpare * perSecond);
    bucket.filledAt = now;
}

void SpeedLimit::take(std::int64_t bytes, TimePoint now) {
    if (rate() < 1 || bytes < 1)
        return;
    auto bucket = m_bucket.lock();
    fill(*bucket, now);
    bucket->owed += static_cast<double>(bytes);
}

std::int64_t SpeedLimit::allowance(TimePoint now) {
    auto bucket = m_bucket.lock();
    fill(*bucket, now);
    return static_cast<std::int64_t>(-bucket->owed);
}

} // namespace tarvo
