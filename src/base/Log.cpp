#include "base/Log.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <vector>

#include <spdlog/details/log_msg.h>
#include <spdlog/sinks/sink.h>

namespace tarvo {

namespace {

struct Sinks {
    std::mutex mutex;
    std::vector<spdlog::sink_ptr> all;
    std::atomic<int> lowest{spdlog::level::off}; // the most detailed level that any sink wants
};

Sinks& sinks() {
    static Sinks instance;
    return instance;
}

void recomputeLowest(Sinks& sinks) {
    int lowest = spdlog::level::off;
    for (const auto& sink : sinks.all)
        lowest = std::min(lowest, static_cast<int>(sink->level()));
    sinks.lowest = lowest;
}

} // namespace

spdlog::level::level_enum Log::threshold(LogLevel level) {
    switch (level) {
    case LogLevel::error:
        return spdlog::level::err;
    case LogLevel::warning:
        return spdlog::level::warn;
    case LogLevel::info:
        return spdlog::level::info;
    case LogLevel::debug:
        return spdlog::level::debug;
    case LogLevel::verbose:
        break;
    }
    return spdlog::level::trace;
}

LogLevel Log::levelOf(spdlog::level::level_enum level) {
    switch (level) {
    case spdlog::level::critical:
    case spdlog::level::err:
        return LogLevel::error;
    case spdlog::level::warn:
        return LogLevel::warning;
    case spdlog::level::info:
        return LogLevel::info;
    case spdlog::level::debug:
        return LogLevel::debug;
    default:
        return LogLevel::verbose;
    }
}

bool Log::isWanted(LogLevel level) {
    return threshold(level) >= sinks().lowest;
}

void Log::deliver(LogLevel level, const std::source_location& where, const std::string& message) {
    const spdlog::source_loc place{where.file_name(), static_cast<int>(where.line()), where.function_name()};
    const spdlog::details::log_msg line(place, "tarvo", threshold(level), message);
    Sinks& all = sinks();
    std::lock_guard lock(all.mutex);
    for (const auto& sink : all.all) {
        if (sink->should_log(line.level))
            sink->log(line);
    }
}

void Log::deliverFailedAssertion(std::string_view name, const std::source_location& where) {
    if (!isWanted(LogLevel::error))
        return;
    const std::string text = name.empty() ? "Assertion Failed" : fmt::format("Assertion Failed: {}", name);
    deliver(LogLevel::error, where, text + fmt::format(" ({})", where.function_name()));
}

void Log::attach(spdlog::sink_ptr sink) {
    Sinks& all = sinks();
    std::lock_guard lock(all.mutex);
    all.all.push_back(std::move(sink));
    recomputeLowest(all);
}

void Log::detach(const spdlog::sink_ptr& sink) {
    Sinks& all = sinks();
    std::lock_guard lock(all.mutex);
    std::erase(all.all, sink);
    recomputeLowest(all);
}

} // namespace tarvo
