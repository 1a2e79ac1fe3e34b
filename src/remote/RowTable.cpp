#include "remote/RowTable.h"

#include <algorithm>
#include <array>
#include <map>

#include <spdlog/fmt/fmt.h>

#include "base/Localized.h"
#include "base/Readable.h"
#include "base/Text.h"
#include "cli/TerminalLines.h"
#include "rows/StatusLine.h"

namespace tarvo {

namespace {

constexpr int kLeastName = 12;

using Cells = std::array<std::string, 7>;

enum Column { number, state, done, size, speed, left, name };

std::string stateText(const QString& state) {
    static const std::map<QString, const char*> kTexts{
        {"waiting", "tr.remote.state.waiting"},  {"preparing", "tr.remote.state.preparing"},
        {"running", "tr.remote.state.running"},  {"paused", "tr.remote.state.paused"},
        {"failed", "tr.remote.state.failed"},    {"stopped", "tr.remote.state.stopped"},
        {"finished", "tr.remote.state.finished"}};
    const auto known = kTexts.find(state);
    return known == kTexts.end() ? shown(state.toStdString()) : localized(known->second);
}

std::string runText(const QString& state) {
    static const std::map<QString, const char*> kTexts{{"stopped", "tr.remote.run.stopped"},
                                                       {"waiting", "tr.remote.run.waiting"},
                                                       {"running", "tr.remote.run.running"},
                                                       {"paused", "tr.remote.run.paused"}};
    const auto known = kTexts.find(state);
    return known == kTexts.end() ? shown(state.toStdString()) : localized(known->second);
}

std::string percentOf(const QueueRow& row) {
    if (row.size < 1)
        return row.bytes > 0 ? readableBytes(row.bytes) : "";
    return fmt::format("{} %", row.bytes * 100 / row.size);
}

Cells cellsOf(const QueueRow& row) {
    const bool isRunning = row.state == QLatin1String("running");
    return {std::to_string(row.number),
            stateText(row.state),
            percentOf(row),
            row.size < 1 ? "" : readableBytes(row.size),
            isRunning ? readableSpeed(row.speed) : "",
            isRunning && row.secondsLeft >= 0 ? readableDuration(Seconds(row.secondsLeft)) : "",
            row.name.toStdString()};
}

Cells head() {
    return {"#",
            localized("tr.remote.head.state"),
            localized("tr.remote.head.done"),
            localized("tr.remote.head.size"),
            localized("tr.remote.head.speed"),
            localized("tr.remote.head.left"),
            localized("tr.remote.head.name")};
}

/// In the columns that a terminal needs; all but the name is made of our own words and digits.
std::string padded(const std::string& text, int width, bool toTheRight) {
    const auto blanks =
        static_cast<std::size_t>(std::max(width - static_cast<int>(QString::fromStdString(text).size()), 0));
    return toTheRight ? std::string(blanks, ' ') + text : text + std::string(blanks, ' ');
}

/// Whole where there is no limit.
std::string inColumns(const std::string& text, int columns) {
    constexpr int kSpare = 8; // no character takes more columns than bytes, and a terminal keeps some free
    const std::string fitted =
        terminalText(text, columns == 0 ? static_cast<int>(text.size()) + kSpare : columns);
    return fitted.substr(0, fitted.find_last_not_of(' ') + 1);
}

std::string lineOf(const Cells& cells, const std::array<int, 6>& widths, int columns) {
    std::string line;
    int used = 0;
    for (std::size_t column = 0; column < widths.size(); ++column) {
        if (widths[column] == 0) // no row has anything there
            continue;
        line += padded(cells[column], widths[column], column != state) + "  ";
        used += widths[column] + 2;
    }
    return line + inColumns(cells[name], columns == 0 ? 0 : std::max(columns - used, kLeastName));
}

} // namespace

std::vector<std::string> rowTable(const QueueRows& rows, int columns) {
    std::vector<Cells> table{head()};
    for (const auto& row : rows)
        table.push_back(cellsOf(row));
    std::array<int, 6> widths{};
    for (std::size_t column = 0; column < widths.size(); ++column) {
        const auto width = [&](const Cells& cells) {
            return static_cast<int>(QString::fromStdString(cells[column]).size());
        };
        for (std::size_t i = 1; i < table.size(); ++i)
            widths[column] = std::max(widths[column], width(table[i]));
        if (widths[column] > 0)
            widths[column] = std::max(widths[column], width(table[0]));
    }
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < table.size() && table.size() > 1; ++i) {
        lines.push_back(lineOf(table[i], widths, columns));
        const QString reason =
            i > 0 ? rows[static_cast<qsizetype>(i) - 1].more.value("error").toString() : "";
        if (!reason.isEmpty())
            lines.push_back(std::string(static_cast<std::size_t>(widths[number]) + 2, ' ') +
                            inColumns(reason.toStdString(), columns == 0 ? 0 : columns - widths[number] - 2));
    }
    return lines;
}

QJsonObject jsonOf(const QueueRow& row) {
    QJsonObject object = QJsonObject::fromVariantMap(row.more);
    object["number"] = static_cast<qint64>(row.number);
    object["state"] = row.state;
    object["name"] = row.name;
    object["url"] = row.url;
    object["bytes"] = row.bytes;
    object["size"] = row.size < 1 ? QJsonValue() : QJsonValue(row.size);
    object["speed"] = row.speed;
    object["connections"] = row.connections;
    object["secondsLeft"] = row.secondsLeft < 0 ? QJsonValue() : QJsonValue(row.secondsLeft);
    return object;
}

std::vector<std::string> statusLines(const QVariantMap& properties) {
    std::vector<std::string> lines{runText(properties["RunState"].toString())};
    for (const auto* each : {"Running", "Waiting", "Paused", "Failed", "Finished"}) {
        const auto count = properties[each].toULongLong();
        if (count > 0)
            lines.push_back(fmt::format("{:>6} {}", count, stateText(QString(each).toLower())));
    }
    if (const auto speed = properties["Speed"].toLongLong(); speed > 0) {
        const QueueFacts facts{.speed = speed, .bytesLeft = properties["BytesLeft"].toLongLong()};
        lines.push_back(readableSpeed(speed));
        lines.push_back(timeLeftText(facts));
    }
    return lines;
}

} // namespace tarvo
