// The names of all knobs by what their values are, and how a query is read.
#include "support/FaultKnobs.h"

#include <algorithm>
#include <random>

#include <QByteArray>
#include <QList>

namespace tarvo::test {
namespace {

// Each name stands between two spaces.
constexpr std::string_view kFlags =
    " spareprobe reset silent norange whole200 nolength chunked untilclose norangeheader untagged ";
constexpr std::string_view kNumbers =
    " from until redirect rate delay status shift short excess overrun total cut stall slow random version ";
constexpr std::string_view kTexts = " type disposition to auth etag modified referer ";
constexpr std::string_view kNoFaults = " from until spareprobe redirect rate delay type disposition to auth "
                                       "untagged version etag modified referer ";

bool isIn(std::string_view names, const std::string& name) {
    return names.find(" " + name + " ") != std::string_view::npos;
}

QByteArray bytesOf(std::string_view text) {
    return {text.data(), static_cast<qsizetype>(text.size())};
}

bool isGood(const std::string& name, const std::optional<QByteArray>& value) {
    bool isNumber = false;
    if (value)
        value->toULongLong(&isNumber);
    if (name == "auth")
        return value == "basic" || value == "digest";
    return isIn(kFlags, name) ? !value : isIn(kNumbers, name) ? isNumber : value.has_value();
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
        std::erase_if(knobs.m_values, [](const auto& knob) { return !isIn(kNoFaults, knob.first); });
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
    if (query.empty())
        return "";
    for (const QByteArray& term : bytesOf(query).split('&')) {
        const auto equals = term.indexOf('=');
        const std::string name = term.left(equals < 0 ? term.size() : equals).toStdString();
        const auto value =
            equals < 0 ? std::nullopt : std::optional(QByteArray::fromPercentEncoding(term.mid(equals + 1)));
        if (!isIn(kFlags, name) && !isIn(kNumbers, name) && !isIn(kTexts, name))
            return "unknown knob: " + term.toStdString();
        if (!isGood(name, value))
            return "wrong value: " + term.toStdString();
        m_values[name] = value.value_or("").toStdString();
    }
    return "";
}

std::string knobValue(std::string_view text) {
    return bytesOf(text).toPercentEncoding().toStdString();
}

} // namespace tarvo::test
