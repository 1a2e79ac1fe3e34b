// Reads, changes and writes the whole set of counters.
#include "app/TRMetricsManager.h"

#include <limits>

#include "base/Runloop.h"
#include "base/SettingKeys.h"

namespace tarvo {

namespace {

using Range = std::numeric_limits<std::int64_t>;

} // namespace

std::map<std::string, std::int64_t> TRMetricsManager::currentMetrics() const {
    return m_defaults.counters(SettingKey::kMetrics);
}

std::int64_t TRMetricsManager::incrementAndGet(std::string_view name, std::int64_t amount) {
    Runloop::assertMain();
    auto metrics = currentMetrics();
    std::int64_t& counter = metrics[std::string(name)];
    if (__builtin_add_overflow(counter, amount, &counter))
        counter = amount > 0 ? Range::max() : Range::min();
    m_defaults.setCounters(SettingKey::kMetrics, metrics);
    return counter;
}

std::int64_t TRMetricsManager::integerValueFor(std::string_view name) const {
    return currentMetrics()[std::string(name)];
}

bool TRMetricsManager::setIf(std::int64_t value, std::string_view greaterThanCurrent) {
    Runloop::assertMain();
    auto metrics = currentMetrics();
    const auto [counter, isNew] = metrics.try_emplace(std::string(greaterThanCurrent), Range::min());
    if (value <= counter->second)
        return false;
    counter->second = value;
    m_defaults.setCounters(SettingKey::kMetrics, metrics);
    return true;
}

} // namespace tarvo
