// The names of all knobs, and how a query is read.
#include "support/FaultKnobs.h"

#include <algorithm>
#include <random>

#include <QByteArray>
#include <QList>

namespace tarvo::test {
namespace {

// Each name stands between two spaces.
constexpr std::string_view kFaults =
    " status reset silent norange whole200 nolength chunked untilclose shift short "
    "excess overrun total norangeheader cut stall slow random ";
constexpr std::string_view kNoFaults =
    " from until spareprobe redirect rate type disposition to auth untagged "
    "version etag modified referer ";

bool isIn(std::string_view names, const std::string& name) {
    return names.find(" " + name + " ") != std::string_view::npos;
}

QByteArray bytesOf(std::string_view text) {
    return {text.data(), static_cast<qsizetype>(text.size())};
}

} // namespace

std::optional<std::string> FaultKnobs::text(std::string_view name) const {
    const auto found = m_values.find(name);
    return found == m_values.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::int64_t> FaultKnobs::number(std::string_view name) const {
    const auto value = text(name);
    return value ? std::optional<std::int64_t>(std::stoll(*value)) : std::nullopt;
}

FaultKnobs FaultKnobs::at(std::int64_t requestNumber, bool isProbe) const {
    FaultKnobs knobs = *this;
    if (requestNumber < number("from").value_or(1) ||
        requestNumber > number("until").value_or(requestNumber) || (has("spareprobe") && isProbe))
        std::erase_if(knobs.m_values, [](const auto& knob) { return isIn(kFaults, knob.first); });
    if (const auto seed = knobs.number("random")) {
        std::mt19937_64 random(static_cast<std::uint64_t>(*seed) << 32 |
                               static_cast<std::uint64_t>(requestNumber));
        if (random() % 3 == 0) {
            const std::pair<const char*, std::string> faults[] = {
                {"reset", ""}, {"status", "503"}, {"cut", std::to_string(random() % 10'000)}, {"silent", ""}};
            knobs.m_values.insert(faults[random() % 4]);
        }
    }
    return knobs;
}

std::string FaultKnobs::read(std::string_view query) {
    for (const QByteArray& term : query.empty() ? QList<QByteArray>() : bytesOf(query).split('&')) {
        const auto end = (term + '=').indexOf('=');
        const std::string name = term.left(end).toStdString();
        if (!isIn(kFaults, name) && !isIn(kNoFaults, name))
            return "unknown knob: " + name;
        m_values[name] = QByteArray::fromPercentEncoding(term.mid(end + 1)).toStdString();
    }
    return "";
}

std::string knobValue(std::string_view text) {
    return bytesOf(text).toPercentEncoding().toStdString();
}

} // namespace tarvo::test
