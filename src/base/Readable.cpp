#include "base/Readable.h"

#include <algorithm>
#include <iterator>

#include <spdlog/fmt/fmt.h>

namespace tarvo {

namespace {

std::string withUnit(std::int64_t bytes, const char* smallest) {
    static const char* const units[] = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    if (bytes < 1024)
        return fmt::format("{} {}", bytes, smallest);
    double amount = static_cast<double>(bytes) / 1024;
    std::size_t unit = 0;
    while (amount >= 1024 && unit + 1 < std::size(units)) {
        amount /= 1024;
        ++unit;
    }
    return fmt::format("{:.1f} {}", amount, units[unit]);
}

} // namespace

std::string readableBytes(std::int64_t bytes) {
    return withUnit(bytes, "B");
}

std::string readableSize(std::int64_t bytes) {
    return withUnit(bytes, "bytes");
}

std::string readableSpeed(std::int64_t bytesPerSecond) {
    return readableBytes(bytesPerSecond) + "/s";
}

std::string readableDuration(Seconds duration) {
    constexpr std::int64_t hour = 3600;
    constexpr std::int64_t day = 24 * hour;
    constexpr double mostDays = 9999;
    const auto seconds = static_cast<std::int64_t>(std::clamp(duration.count(), 0.0, mostDays * day));
    if (seconds >= 100 * hour)
        return fmt::format("{} d", seconds / day);
    if (seconds >= hour)
        return fmt::format("{}:{:02}:{:02}", seconds / hour, seconds / 60 % 60, seconds % 60);
    return fmt::format("{}:{:02}", seconds / 60, seconds % 60);
}

} // namespace tarvo
