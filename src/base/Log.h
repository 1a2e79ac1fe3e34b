// The one log of the program: five levels, any number of sinks, callable from every thread.
#pragma once

#include <source_location>
#include <string>
#include <string_view>

#include <spdlog/common.h>
#include <spdlog/fmt/fmt.h>

namespace tarvo {

/// Levels as flags, so that a sink can name the set it wants.
enum class LogLevel : unsigned { error = 1, warning = 2, info = 4, debug = 8, verbose = 16 };

/// A format text checked against its arguments when compiled, and the place it stands at.
template <class... Arguments>
struct LogText {
    template <class Text>
    // NOLINTNEXTLINE(google-explicit-constructor): made from a literal at every call
    consteval LogText(const Text& literal, std::source_location where = std::source_location::current())
        : text(literal), place(where) {}

    fmt::format_string<Arguments...> text;
    std::source_location place;
};

class Log {
public:
    template <class... Arguments>
    static void error(LogText<std::type_identity_t<Arguments>...> text, Arguments&&... arguments) {
        write(LogLevel::error, text, std::forward<Arguments>(arguments)...);
    }

    template <class... Arguments>
    static void warning(LogText<std::type_identity_t<Arguments>...> text, Arguments&&... arguments) {
        write(LogLevel::warning, text, std::forward<Arguments>(arguments)...);
    }

    template <class... Arguments>
    static void info(LogText<std::type_identity_t<Arguments>...> text, Arguments&&... arguments) {
        write(LogLevel::info, text, std::forward<Arguments>(arguments)...);
    }

    template <class... Arguments>
    static void debug(LogText<std::type_identity_t<Arguments>...> text, Arguments&&... arguments) {
        write(LogLevel::debug, text, std::forward<Arguments>(arguments)...);
    }

    template <class... Arguments>
    static void verbose(LogText<std::type_identity_t<Arguments>...> text, Arguments&&... arguments) {
        write(LogLevel::verbose, text, std::forward<Arguments>(arguments)...);
    }

    /// Logs the failed check and goes on: an impossible state never stops the process. `name` says
    /// which check where "Assertion Failed" and the place do not say enough. Answers `holds`.
    static bool assertThat(bool holds, std::string_view name = {},
                           std::source_location where = std::source_location::current()) {
        if (!holds)
            deliverFailedAssertion(name, where);
        return holds;
    }

    /// Adds a sink. The sink's own level decides what reaches it. Main thread, before others log.
    static void attach(spdlog::sink_ptr sink);

    /// Takes a sink away again.
    static void detach(const spdlog::sink_ptr& sink);

    /// The spdlog level that a sink sets to receive `level` and everything more serious.
    static spdlog::level::level_enum threshold(LogLevel level);

    /// The level of a line as spdlog hands it to a formatter.
    static LogLevel levelOf(spdlog::level::level_enum level);

private:
    template <class... Arguments>
    static void write(LogLevel level, const LogText<std::type_identity_t<Arguments>...>& text,
                      Arguments&&... arguments) {
        if (isWanted(level))
            deliver(level, text.place, fmt::format(text.text, std::forward<Arguments>(arguments)...));
    }

    static void deliverFailedAssertion(std::string_view name, const std::source_location& where);
    static bool isWanted(LogLevel level);
    static void deliver(LogLevel level, const std::source_location& where, const std::string& message);
};

} // namespace tarvo
