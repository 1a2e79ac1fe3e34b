// Named usage counters that outlive the program.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "base/UserDefaults.h"

namespace tarvo {

/// The names of the counters.
namespace Metric {
inline constexpr std::string_view kAppLaunches = "AppLaunches";
inline constexpr std::string_view kDragAndDrops = "DragAndDrops";
inline constexpr std::string_view kBrowserExtAdds = "BrowserExtAdds";
inline constexpr std::string_view kLastRated = "LastRated";
} // namespace Metric

/// Counts in the setting "Metrics". Main thread. A counter never runs over: it stays at the end of the
/// range of 64 bits.
class TRMetricsManager {
public:
    /// `defaults` outlives the manager.
    explicit TRMetricsManager(UserDefaults& defaults) : m_defaults(defaults) {}

    std::map<std::string, std::int64_t> currentMetrics() const;

    /// Adds `amount`, which may be negative, and answers the new value.
    std::int64_t incrementAndGet(std::string_view name, std::int64_t amount = 1);

    /// 0 for a counter that there is not.
    std::int64_t integerValueFor(std::string_view name) const;

    /// Stores `value` if it is greater than the counter's, or the counter is missing. Answers whether
    /// it stored. A missing counter counts as the smallest number, which alone is not stored.
    bool setIf(std::int64_t value, std::string_view greaterThanCurrent);

private:
    UserDefaults& m_defaults;
};

} // namespace tarvo
