#include "app/LogCollector.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <utility>

#include "input/TRStringURL.h"

namespace tarvo {

namespace {

constexpr std::streamoff kMostBytes = 1 << 20;

LogLevel levelOfLine(std::string_view line) {
    for (const auto level : {LogLevel::error, LogLevel::warning, LogLevel::info, LogLevel::debug}) {
        if (line.starts_with(TRDebugLogFormatter::wordOf(level)))
            return level;
    }
    return LogLevel::verbose;
}

} // namespace

void LogCollector::log(const spdlog::details::log_msg& message) {
    LogTextLine line{Log::levelOf(message.level), m_formatter.formatLogMessage(message)};
    std::lock_guard lock(m_mutex);
    m_waiting.push_back(std::move(line));
    if (m_waiting.size() > kMostLines) {
        m_waiting.pop_front();
        ++m_leftOut;
    }
}

std::vector<LogTextLine> LogCollector::take(std::size_t& leftOut) {
    std::deque<LogTextLine> taken;
    {
        std::lock_guard lock(m_mutex);
        taken.swap(m_waiting);
        leftOut = std::exchange(m_leftOut, 0);
    }
    return {std::make_move_iterator(taken.begin()), std::make_move_iterator(taken.end())};
}

std::vector<LogTextLine> lastLinesOf(const std::string& logFile, std::size_t most) {
    std::ifstream file(logFile, std::ios::binary | std::ios::ate);
    const std::streamoff length = file ? static_cast<std::streamoff>(file.tellg()) : 0;
    const std::streamoff begin = std::max<std::streamoff>(0, length - kMostBytes);
    file.seekg(begin);
    std::string bytes(static_cast<std::size_t>(length - begin), '\0');
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(std::max<std::streamsize>(0, file.gcount())));
    auto lines = linesOf(bytes);
    if (begin > 0 && !lines.empty())
        lines.erase(lines.begin()); // half of one
    std::vector<LogTextLine> last;
    const std::size_t first = lines.size() - std::min(lines.size(), most);
    for (std::size_t i = first; i < lines.size(); ++i)
        last.push_back({levelOfLine(lines[i]), std::string(lines[i])});
    return last;
}

void removeOverlap(std::vector<LogTextLine>& before, const std::vector<LogTextLine>& after) {
    if (after.empty())
        return;
    const auto again = std::find_if(before.rbegin(), before.rend(),
                                    [&](const LogTextLine& line) { return line.text == after.front().text; });
    if (again != before.rend())
        before.erase(std::prev(again.base()), before.end());
}

} // namespace tarvo
