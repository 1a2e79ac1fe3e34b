#include "base/Readable.h"

#include "base/Localized.h"

#include <algorithm>
#include <iterator>

#include <spdlog/fmt/fmt.h>

namespace tarvo {

namespace {

constexpr std::int64_t kKibi = 1024;

std::string withUnit(std::int64_t bytes, DecimalMark mark) {
    static const char* const units[] = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    double amount = static_cast<double>(bytes) / kKibi;
    std::size_t unit = 0;
    while (amount >= kKibi && unit + 1 < std::size(units)) {
        amount /= kKibi;
        ++unit;
    }
    return readableNumber(amount, mark) + " " + units[unit];
}

} // namespace

std::string readableNumber(double number, DecimalMark mark) {
    std::string text = fmt::format("{:.1f}", number);
    if (mark == DecimalMark::ofLanguage)
        text.replace(text.find('.'), 1, localized("tr.number.point"));
    return text;
}

std::string readableBytes(std::int64_t bytes, DecimalMark mark) {
    return bytes < kKibi ? fmt::format("{} B", bytes) : withUnit(bytes, mark);
}

std::string readableSize(std::int64_t bytes) {
    return bytes < kKibi
               ? localizedCount("tr.size.bytes", static_cast<std::size_t>(std::max<std::int64_t>(bytes, 0)))
               : withUnit(bytes, DecimalMark::ofLanguage);
}

std::string readableSpeed(std::int64_t bytesPerSecond, DecimalMark mark) {
    return readableBytes(bytesPerSecond, mark) + "/s";
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
