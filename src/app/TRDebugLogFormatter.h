// How a line of the log looks.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

#include <spdlog/formatter.h>

#include "base/Log.h"

namespace tarvo {

/// Makes lines like "INFO 14:03:07:125 | Saving all progress... in QueueWindowController:213": level,
/// local time, message, file and line. Serves one logger, which calls it from one thread at a time.
class TRDebugLogFormatter final : public spdlog::formatter {
public:
    /// The line without its line feed. Control characters of the message are shown as escapes, so that
    /// a text from outside can't forge a line of its own.
    std::string formatLogMessage(const spdlog::details::log_msg& message) const;

    /// The same with a line feed, appended to `destination`.
    void format(const spdlog::details::log_msg& message, spdlog::memory_buf_t& destination) override;

    /// A formatter of its own, attached to no logger.
    std::unique_ptr<spdlog::formatter> clone() const override;

    /// The logger says that it uses this formatter from now on; a second one is a logged assertion.
    void didAddToLogger();

    /// The logger says that it uses this formatter no more.
    void willRemoveFromLogger();

    /// "ERRO", "WARN", "INFO", "DBUG"; "VRBS" for verbose and for what is no level.
    static std::string_view wordOf(LogLevel level);

private:
    std::atomic<int> m_loggers{0};
};

} // namespace tarvo
