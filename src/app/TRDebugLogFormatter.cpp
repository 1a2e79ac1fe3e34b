// One line per message, whatever the message holds.
#include "app/TRDebugLogFormatter.h"

#include <chrono>
#include <ctime>

#include <spdlog/details/log_msg.h>

namespace tarvo {

namespace {

/// HH:mm:ss:SSS, local time.
std::string timeOf(spdlog::log_clock::time_point moment) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(moment);
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(moment - seconds).count();
    const std::time_t calendar = std::chrono::system_clock::to_time_t(seconds);
    std::tm local{};
    ::localtime_r(&calendar, &local);
    return fmt::format("{:02}:{:02}:{:02}:{:03}", local.tm_hour, local.tm_min, local.tm_sec, milliseconds);
}

/// The name of a source file without folder and extension.
std::string_view nameOfFile(const char* path) {
    std::string_view name(path ? path : "");
    name.remove_prefix(name.find_last_of('/') + 1);
    name = name.substr(0, name.find_last_of('.'));
    return name.empty() ? "<Unknown File>" : name;
}

std::string onOneLine(std::string_view text) {
    std::string line;
    line.reserve(text.size());
    for (const char c : text) {
        const auto code = static_cast<unsigned char>(c);
        if (c == '\n')
            line += "\\n";
        else if (code < 0x20 || code == 0x7f)
            line += fmt::format("\\x{:02x}", code);
        else
            line += c;
    }
    return line;
}

} // namespace

std::string_view TRDebugLogFormatter::wordOf(LogLevel level) {
    switch (level) {
    case LogLevel::error:
        return "ERRO";
    case LogLevel::warning:
        return "WARN";
    case LogLevel::info:
        return "INFO";
    case LogLevel::debug:
        return "DBUG";
    default:
        return "VRBS";
    }
}

std::string TRDebugLogFormatter::formatLogMessage(const spdlog::details::log_msg& message) const {
    return fmt::format("{} {} | {} in {}:{}", wordOf(Log::levelOf(message.level)), timeOf(message.time),
                       onOneLine({message.payload.data(), message.payload.size()}),
                       nameOfFile(message.source.filename), message.source.line);
}

void TRDebugLogFormatter::format(const spdlog::details::log_msg& message, spdlog::memory_buf_t& destination) {
    const std::string line = formatLogMessage(message) + "\n";
    destination.append(line.data(), line.data() + line.size());
}

std::unique_ptr<spdlog::formatter> TRDebugLogFormatter::clone() const {
    return std::make_unique<TRDebugLogFormatter>();
}

void TRDebugLogFormatter::didAddToLogger() {
    Log::assertThat(++m_loggers == 1, "This logger isn't thread-safe");
}

void TRDebugLogFormatter::willRemoveFromLogger() {
    --m_loggers;
}

} // namespace tarvo
