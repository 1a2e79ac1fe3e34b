// Collects lines of the log for a window that shows them.
#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <spdlog/sinks/sink.h>

#include "app/TRDebugLogFormatter.h"

namespace tarvo {

struct LogTextLine {
    LogLevel level;
    std::string text; ///< as in the log file
};

/// Lines come on any thread and wait until they are taken. When too many wait, the oldest are left out. With
/// the level spdlog::level::off it is not called at all.
class LogCollector final : public spdlog::sinks::sink {
public:
    /// Lines that wait at most, and that a window shows at most.
    static constexpr std::size_t kMostLines = 10'000;

    void log(const spdlog::details::log_msg& message) override;

    /// What has come since the last call, the oldest first, and how many lines have been left out before.
    std::vector<LogTextLine> take(std::size_t& leftOut);

    /// Nothing is kept back.
    void flush() override {}

    /// The format of the lines is fixed: these two change nothing.
    void set_pattern(const std::string& /*pattern*/) override {}

    void set_formatter(std::unique_ptr<spdlog::formatter> /*formatter*/) override {}

private:
    const TRDebugLogFormatter m_formatter;
    std::mutex m_mutex; // guards what follows
    std::deque<LogTextLine> m_waiting;
    std::size_t m_leftOut = 0;
};

/// The lines at the end of a log file, at most `most` of them and a mebibyte. It waits for the disk: for a
/// worker.
std::vector<LogTextLine> lastLinesOf(const std::string& logFile, std::size_t most);

/// `before` without the end that `after` begins with: what was written while both were being gathered.
void removeOverlap(std::vector<LogTextLine>& before, const std::vector<LogTextLine>& after);

} // namespace tarvo
