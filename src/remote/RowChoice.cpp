#include "remote/RowChoice.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <utility>

#include "base/Localized.h"
#include "base/Text.h"

namespace tarvo {

namespace {

constexpr std::array kStates{"waiting", "preparing", "running", "paused", "failed", "stopped", "finished"};

std::optional<quint64> numberOf(std::string_view text) {
    quint64 number = 0;
    const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), number);
    return fault == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

/// Of "3" and "3-7": the first and the last.
std::optional<std::pair<quint64, quint64>> rangeOf(std::string_view text) {
    const auto hyphen = std::min(text.find('-'), text.size());
    const auto first = numberOf(text.substr(0, hyphen));
    const auto last = hyphen == text.size() ? first : numberOf(text.substr(hyphen + 1));
    return first && last ? std::optional(std::pair(*first, *last)) : std::nullopt;
}

bool namesAGroup(const std::string& text) {
    return text == "all" || std::find(kStates.begin(), kStates.end(), text) != kStates.end();
}

} // namespace

bool isChosenBy(const QueueRow& row, const std::string& text) {
    if (text == "all" || row.state.toStdString() == text)
        return true;
    if (const auto range = rangeOf(text); range && row.number >= range->first && row.number <= range->second)
        return true;
    return row.name.toStdString() == text || row.url.toStdString() == text;
}

Result<QueueRows> chosenRows(const QueueRows& rows, const std::vector<std::string>& texts) {
    for (const auto& text : texts) {
        const auto isNamed = [&](const QueueRow& row) { return isChosenBy(row, text); };
        if (!namesAGroup(text) && std::none_of(rows.begin(), rows.end(), isNamed))
            return tl::unexpected(Error::tarvo(localized("tr.remote.names-no-row", {shown(text)}),
                                               localized("tr.remote.names-no-row-recovery")));
    }
    QueueRows chosen;
    std::copy_if(rows.begin(), rows.end(), std::back_inserter(chosen), [&](const QueueRow& row) {
        return std::any_of(texts.begin(), texts.end(),
                           [&](const std::string& text) { return isChosenBy(row, text); });
    });
    return chosen;
}

} // namespace tarvo
