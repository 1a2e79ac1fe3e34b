// The names of all knobs by what their values are, and how a query is read.
#include "support/FaultKnobs.h"

#include <algorithm>
#include <array>
#include <random>

#include <QByteArray>
#include <QList>

namespace tarvo::test {
namespace {

using namespace std::string_view_literals;

constexpr std::array kFlags{"spareprobe"sv, "reset"sv,   "silent"sv,     "norange"sv,       "whole200"sv,
                            "nolength"sv,   "chunked"sv, "untilclose"sv, "norangeheader"sv, "untagged"sv};
constexpr std::array kNumbers{"from"sv,  "until"sv,  "redirect"sv, "rate"sv,    "delay"sv, "status"sv,
                              "shift"sv, "short"sv,  "excess"sv,   "overrun"sv, "total"sv, "cut"sv,
                              "stall"sv, "random"sv, "version"sv,  "slow"sv};
constexpr std::array kTexts{"type"sv, "disposition"sv, "to"sv, "auth"sv, "etag"sv, "modified"sv, "referer"sv};
constexpr std::array kNoFaults{"from"sv,     "until"sv,   "spareprobe"sv,  "redirect"sv, "rate"sv,
                               "delay"sv,    "type"sv,    "disposition"sv, "to"sv,       "auth"sv,
                               "untagged"sv, "version"sv, "etag"sv,        "modified"sv, "referer"sv};

bool isIn(const auto& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

QByteArray bytesOf(std::string_view text) {
    return {text.data(), static_cast<qsizetype>(text.size())};
}

bool isGood(std::string_view name, const std::optional<QByteArray>& value) {
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
