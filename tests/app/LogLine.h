// A line of the log as sinks receive it, for the tests of sinks.
#pragma once

#include <chrono>

#include <spdlog/details/log_msg.h>

namespace tarvo::test {

/// 2026-03-04 05:06:07.089012 in UTC.
inline const spdlog::log_clock::time_point kMoment =
    std::chrono::sys_days(std::chrono::year(2026) / 3 / 4) + std::chrono::hours(5) + std::chrono::minutes(6) +
    std::chrono::seconds(7) + std::chrono::microseconds(89012);

/// `text` must outlive the line.
inline spdlog::details::log_msg logLine(std::string_view text, spdlog::level::level_enum level,
                                        spdlog::log_clock::time_point moment = kMoment) {
    const spdlog::source_loc place{"/source/queue/QueueWindowController.cpp", 213, "function"};
    return {moment, place, "tarvo", level, {text.data(), text.size()}};
}

} // namespace tarvo::test
