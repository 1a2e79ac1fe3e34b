// The log on standard error, for the journal of the system or for who has started the program.
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include <spdlog/sinks/sink.h>

#include "app/TRDebugLogFormatter.h"

namespace tarvo {

/// Writes a line for each message as the log file has it. What the reader does not take at once is left out:
/// the program never waits for it. Any thread.
class StandardErrorSink final : public spdlog::sinks::sink {
public:
    /// `descriptor` stays open as long as the sink lives; it is the caller's.
    explicit StandardErrorSink(int descriptor) : m_descriptor(descriptor) {}

    void log(const spdlog::details::log_msg& message) override;

    /// Lines go to the system as they come; there is nothing left to flush.
    void flush() override {}

    /// The format of the lines is fixed: these two change nothing.
    void set_pattern(const std::string& /*pattern*/) override {}

    void set_formatter(std::unique_ptr<spdlog::formatter> /*formatter*/) override {}

private:
    const int m_descriptor;
    const TRDebugLogFormatter m_formatter;
    std::mutex m_mutex; // one line at a time
};

} // namespace tarvo
