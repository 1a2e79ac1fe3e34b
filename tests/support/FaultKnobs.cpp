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
    "excess overrun total norangeheader cut stall slow random wild ";
constexpr std::string_view kNoFaults =
    " from until spareprobe redirect rate type disposition to auth untagged "
    "version etag modified referer retryafter places ";

bool isIn(std::string_view names, const std::string& name) {
    return names.find(" " + name + " ") != std::string_view::npos;
}

// The first ones are no lies, and of those the first are what a probe gets, too.
constexpr std::pair<std::string_view, std::string_view> kWildFaults[] = {
    {"reset", ""},   {"status", "503"}, {"status", "429"}, {"silent", ""},        {"cut", "10000"},
    {"cut", "1"},    {"stall", "5000"}, {"slow", "5000"},  {"shift", "1"},        {"short", "1"},
    {"excess", "1"}, {"overrun", "9"},  {"total", "99"},   {"norangeheader", ""}, {"whole200", ""}};
constexpr std::size_t kOfProbes = 4;

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
    if (const auto seed = knobs.number("wild")) {
        std::mt19937_64 random(static_cast<std::uint64_t>(*seed) << 32 |
                               static_cast<std::uint64_t>(requestNumber));
        if (random() % 8 == 0)
            knobs.m_values.insert(kWildFaults[random() % (isProbe ? kOfProbes : std::size(kWildFaults))]);
    }
    return knobs;
}

bool FaultKnobs::isHonest() const {
    constexpr std::string_view lies[] = {"norange", "whole200", "shift", "short",
                                         "excess",  "overrun",  "total", "norangeheader"};
    return std::none_of(std::begin(lies), std::end(lies), [this](std::string_view lie) { return has(lie); });
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
