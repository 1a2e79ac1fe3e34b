#include "cli/TerminalLines.h"

#include "base/Localized.h"
#include "base/Readable.h"

#include <algorithm>
#include <cmath>
#include <cwchar>

#include <QString>
#include <spdlog/fmt/fmt.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace tarvo {

namespace {

constexpr int kSpareColumns = 3; // so that a "^C" that the terminal adds does not wrap the line
constexpr int kLeastNameWidth = 10;
constexpr int kMostNameWidth = 30;
constexpr int kLeastBarWidth = 6;
constexpr char32_t kUnprintable = U'?';

/// The columns that a character takes: two for wide ones, none for marks that combine with the one before.
int columnsOf(char32_t character) {
    return std::max(::wcwidth(static_cast<wchar_t>(character)), 0);
}

/// As many characters as fit into `width` columns, from the front of `text`.
std::u32string front(const std::u32string& text, int width) {
    std::size_t count = 0;
    while (count < text.size() && columnsOf(text[count]) <= width)
        width -= columnsOf(text[count++]);
    return text.substr(0, count);
}

/// The same from its back, not beginning with a mark that has lost its character.
std::u32string back(const std::u32string& text, int width) {
    std::size_t begin = text.size();
    while (begin > 0 && columnsOf(text[begin - 1]) <= width)
        width -= columnsOf(text[--begin]);
    while (begin < text.size() && columnsOf(text[begin]) == 0)
        ++begin;
    return text.substr(begin);
}

int columnsOf(const std::u32string& text) {
    int columns = 0;
    for (const char32_t character : text)
        columns += columnsOf(character);
    return columns;
}

/// The characters of `text`, without those that could steer the terminal.
std::u32string printable(const std::string& text) {
    std::u32string shown = QString::fromStdString(text).toStdU32String();
    const auto steers = [](char32_t c) { return ::wcwidth(static_cast<wchar_t>(c)) < 0; };
    std::replace_if(shown.begin(), shown.end(), steers, kUnprintable);
    return shown;
}

std::string textOf(const std::u32string& characters) {
    return QString::fromUcs4(characters.data(), static_cast<qsizetype>(characters.size())).toStdString();
}

int columnsOf(const std::string& text) {
    return columnsOf(printable(text));
}

std::string cutAtEnd(const std::string& text, int width) {
    return textOf(front(printable(text), width - 1) + U'…');
}

/// `text` in exactly `width` columns.
std::string fitted(const std::string& text, int width) {
    std::u32string shown = printable(text);
    if (columnsOf(shown) > width)
        shown = front(shown, width - width / 3 - 1) + U'…' + back(shown, width / 3);
    shown.append(static_cast<std::size_t>(std::max(width - columnsOf(shown), 0)), U' ');
    return textOf(shown);
}

std::string bar(double fraction, int width, bool colour) {
    const int full = static_cast<int>(std::floor(std::clamp(fraction, 0.0, 1.0) * width));
    std::string done;
    std::string rest;
    for (int i = 0; i < width; ++i)
        (i < full ? done : rest) += i < full ? "━" : (colour ? "━" : " ");
    return colour ? "\x1b[32m" + done + "\x1b[90m" + rest + "\x1b[0m" : "[" + done + rest + "]";
}

double fractionOf(const DownloadSnapshot& download) {
    return static_cast<double>(download.bytes) / static_cast<double>(download.size);
}

/// Bytes and speed of all, and the time to the end where all that is left is running: each with a comma
/// before it, the latter two together.
std::pair<std::string, std::string>
totalOf(const QueueCounts& counts, const std::vector<DownloadSnapshot>& running, std::size_t others) {
    std::int64_t bytes = counts.bytes;
    std::int64_t speed = 0;
    Seconds left{0};
    bool isKnown = others == 0 && !running.empty();
    for (const auto& download : running) {
        bytes += download.bytes;
        speed += download.speed;
        left = std::max(left, download.left);
        isKnown = isKnown && download.size > 0 && download.speed > 0;
    }
    return {readableBytes(bytes, DecimalMark::point),
            readableSpeed(speed, DecimalMark::point) + (isKnown ? ", " + readableDuration(left) : "")};
}

/// As much of it as `width` columns have room for: no number is cut.
std::string summaryOf(const QueueCounts& counts, const std::vector<DownloadSnapshot>& running,
                      std::size_t others, int width) {
    const std::string finished = std::to_string(counts.finished);
    const std::string total = std::to_string(counts.total);
    const std::string failed = std::to_string(counts.failed);
    const std::string active = std::to_string(running.size());
    const std::string left = std::to_string(others);
    const bool isAllWell = counts.failed == 0;
    const std::string words =
        isAllWell ? localized("tr.get.summary", {finished, total, active, left})
                  : localized("tr.get.summary-failures", {finished, total, failed, active, left});
    const std::string numbers = finished + "/" + total;
    const std::string brief = isAllWell ? numbers : localized("tr.get.summary-brief", {numbers, failed});
    const auto [bytes, speed] = totalOf(counts, running, others);
    const std::string choices[] = {words + "; " + bytes + ", " + speed, brief + "; " + bytes + ", " + speed,
                                   brief + "; " + speed, brief, numbers};
    const auto fits = [width](const std::string& text) { return columnsOf(text) <= width; };
    return *std::find_if(std::begin(choices), std::end(choices) - 1, fits);
}

/// The name gives way first, then the end of the cause.
std::string waitingLine(const Waiting& waiting, int columns) {
    const int width = std::max(columns - kSpareColumns, 1);
    const auto line = [&](const std::string& name) {
        return localized("tr.get.waiting", {name, readableDuration(waiting.left), waiting.cause});
    };
    std::string text = line(waiting.name);
    const int nameWidth = std::max(width / 3, kLeastNameWidth);
    if (columnsOf(text) > width && columnsOf(waiting.name) > nameWidth)
        text = line(fitted(waiting.name, nameWidth));
    return columnsOf(text) > width ? cutAtEnd(text, width) : terminalText(text, columns);
}

/// "12.3M/1.2G": done and of how many.
std::string shortAmount(std::int64_t bytes) {
    constexpr std::string_view units = "BKMGTPE";
    auto number = static_cast<double>(std::max<std::int64_t>(bytes, 0));
    std::size_t unit = 0;
    for (; number >= 999.5 && unit + 1 < units.size(); ++unit)
        number /= 1024;
    return fmt::format("{:.{}f}{}", number, number < 9.95 && unit > 0 ? 1 : 0, units[unit]);
}

/// "name.iso ━━━━━━ checking  45%"
std::string checkingLine(const DownloadSnapshot& download, int width, bool colour) {
    const std::string facts =
        fmt::format(" {} {:>4}", localized("tr.get.checking"), verifiedPercentOf(download));
    const int room = width - static_cast<int>(facts.size());
    if (room < kLeastNameWidth)
        return fitted(download.name, width);
    const int nameWidth = std::clamp(room / 2, kLeastNameWidth, kMostNameWidth);
    const int barWidth = room - nameWidth - (colour ? 1 : 3);
    if (barWidth < kLeastBarWidth)
        return fitted(download.name, room) + facts;
    const double fraction = static_cast<double>(*download.verified) /
                            static_cast<double>(std::max<std::int64_t>(download.bytes, 1));
    return fitted(download.name, nameWidth) + " " + bar(fraction, barWidth, colour) + facts;
}

} // namespace

TerminalSize terminalSize() {
    for (const int output : {STDOUT_FILENO, STDERR_FILENO}) {
        winsize size{};
        if (::ioctl(output, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0)
            return {size.ws_col, size.ws_row};
    }
    return {};
}

std::string verifiedPercentOf(const DownloadSnapshot& download) {
    const auto all = static_cast<double>(std::max<std::int64_t>(download.bytes, 1));
    return fmt::format("{:.0f}%", std::floor(static_cast<double>(download.verified.value_or(0)) * 100 / all));
}

std::string percentOf(const DownloadSnapshot& download) {
    if (download.size < 1)
        return readableBytes(download.bytes, DecimalMark::point);
    return fmt::format("{:.0f}%", std::floor(fractionOf(download) * 100));
}

std::string terminalText(const std::string& text, int columns) {
    return fitted(text, std::max(columns - kSpareColumns, 1));
}

std::string terminalLine(const DownloadSnapshot& download, int columns, bool colour) {
    const bool known = download.size > 0;
    const int width = std::max(columns - kSpareColumns, 1);
    if (download.verified)
        return checkingLine(download, width, colour);
    const std::string percent = fmt::format(" {:>{}}", percentOf(download), known ? 4 : 10);
    const std::string speed = fmt::format(" {:>12}", readableSpeed(download.speed, DecimalMark::point));
    const std::string connections =
        " " + localized("tr.get.connections", {fmt::format("{:>2}", download.connections)});
    const std::string left =
        fmt::format(" {:>8}", !known || download.speed < 1 ? "--:--" : readableDuration(download.left));
    // What a narrow terminal has no room for goes, the least important first.
    const std::string amount =
        known ? fmt::format(" {:>9}", shortAmount(download.bytes) + "/" + shortAmount(download.size)) : "";
    const std::string choices[] = {amount + percent + speed + connections + left,
                                   percent + speed + connections + left,
                                   percent + speed + left,
                                   percent + speed,
                                   percent,
                                   ""};
    const auto fits = [&](const std::string& facts) {
        const int bar =
            &facts == &choices[0] ? kLeastBarWidth + 4 : 0; // the amounts don't take the bar's place
        return static_cast<int>(facts.size()) + kLeastNameWidth + bar <= width;
    };
    const std::string& facts = *std::find_if(std::begin(choices), std::end(choices) - 1, fits);
    const int room = width - static_cast<int>(facts.size());
    const int nameWidth = std::clamp(room / 2, kLeastNameWidth, kMostNameWidth);
    const int barWidth = room - nameWidth - (colour ? 1 : 3);
    if (!known || barWidth < kLeastBarWidth)
        return fitted(download.name, room) + facts;
    return fitted(download.name, nameWidth) + " " + bar(fractionOf(download), barWidth, colour) + facts;
}

std::vector<std::string> terminalLines(const std::vector<DownloadSnapshot>& running,
                                       const std::vector<Waiting>& waiting, const QueueCounts& counts,
                                       TerminalSize size, bool colour) {
    const bool summarises = counts.total > 1;
    // One line of the terminal stays free, so that nothing scrolls away under the drawing.
    const auto room = static_cast<std::size_t>(std::max(size.rows - (summarises ? 2 : 1), 1));
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < std::min(running.size(), room); ++i)
        lines.push_back(terminalLine(running[i], size.columns, colour));
    for (std::size_t i = 0; i < waiting.size() && lines.size() < room; ++i)
        lines.push_back(waitingLine(waiting[i], size.columns));
    if (!summarises)
        return lines;
    const std::size_t ended = counts.finished + counts.failed;
    const std::size_t others = counts.total - std::min(counts.total, ended + running.size());
    lines.push_back(terminalText(
        summaryOf(counts, running, others, std::max(size.columns - kSpareColumns, 1)), size.columns));
    return lines;
}

} // namespace tarvo
