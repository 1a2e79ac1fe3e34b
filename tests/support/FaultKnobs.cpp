// The table of all knobs by name, and how a query is read with it.
#include "support/FaultKnobs.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <random>
#include <variant>

#include <QByteArray>

namespace tarvo::test {
namespace {

using Flag = bool FaultKnobs::*;
using Number = std::optional<std::int64_t> FaultKnobs::*;
using Text = std::optional<std::string> FaultKnobs::*;

struct Knob {
    std::string_view name;
    std::variant<Flag, Number, Text> value;
};

const std::array kKnobs{
    Knob{"from", &FaultKnobs::from},
    Knob{"until", &FaultKnobs::until},
    Knob{"every", &FaultKnobs::every},
    Knob{"spareprobe", &FaultKnobs::spareprobe},

    Knob{"type", &FaultKnobs::type},
    Knob{"disposition", &FaultKnobs::disposition},
    Knob{"etag", &FaultKnobs::etag},
    Knob{"to", &FaultKnobs::to},
    Knob{"redirect", &FaultKnobs::redirect},
    Knob{"auth", &FaultKnobs::auth},
    Knob{"setcookie", &FaultKnobs::setcookie},
    Knob{"rate", &FaultKnobs::rate},
    Knob{"delay", &FaultKnobs::delay},
    Knob{"connections", &FaultKnobs::connections},

    Knob{"status", &FaultKnobs::status},
    Knob{"reset", &FaultKnobs::reset},
    Knob{"silent", &FaultKnobs::silent},
    Knob{"norange", &FaultKnobs::norange},
    Knob{"whole200", &FaultKnobs::whole200},
    Knob{"nolength", &FaultKnobs::nolength},
    Knob{"chunked", &FaultKnobs::chunked},
    Knob{"untilclose", &FaultKnobs::untilclose},
    Knob{"shift", &FaultKnobs::shift},
    Knob{"short", &FaultKnobs::shorten},
    Knob{"excess", &FaultKnobs::excess},
    Knob{"overrun", &FaultKnobs::overrun},
    Knob{"total", &FaultKnobs::total},
    Knob{"norangeheader", &FaultKnobs::norangeheader},
    Knob{"cut", &FaultKnobs::cut},
    Knob{"cutevery", &FaultKnobs::cutevery},
    Knob{"stall", &FaultKnobs::stall},
    Knob{"random", &FaultKnobs::random},
};

std::optional<std::int64_t> numberIn(std::string_view text) {
    std::int64_t number = 0;
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (problem != std::errc() || end != text.data() + text.size() || number < 0)
        return std::nullopt;
    return number;
}

bool setKnob(FaultKnobs& knobs, const Knob& knob, std::optional<std::string_view> value) {
    if (const auto* flag = std::get_if<Flag>(&knob.value)) {
        knobs.*(*flag) = true;
        return !value;
    }
    if (!value)
        return false;
    if (const auto* number = std::get_if<Number>(&knob.value)) {
        knobs.*(*number) = numberIn(*value);
        return (knobs.*(*number)).has_value();
    }
    const QByteArray encoded(value->data(), static_cast<qsizetype>(value->size()));
    knobs.*std::get<Text>(knob.value) = QByteArray::fromPercentEncoding(encoded).toStdString();
    return true;
}

/// Values that the table alone lets through although they can't be meant.
bool makesSense(const FaultKnobs& knobs) {
    return knobs.every != 0 && knobs.rate != 0 && knobs.cutevery != 0 &&
           (!knobs.status || (*knobs.status >= 200 && *knobs.status <= 599)) &&
           (!knobs.auth || *knobs.auth == "basic" || *knobs.auth == "digest");
}

void addRandomFault(Faults& faults, std::int64_t seed, std::int64_t requestNumber) {
    constexpr std::uint64_t furthestCut = 10'000;
    std::mt19937_64 random(static_cast<std::uint64_t>(seed) << 32 |
                           static_cast<std::uint64_t>(requestNumber));
    if (random() % 3 != 0)
        return;
    switch (random() % 4) {
    case 0:
        faults.reset = true;
        return;
    case 1:
        faults.status = 503;
        return;
    case 2:
        faults.cut = static_cast<std::int64_t>(random() % furthestCut);
        return;
    default:
        faults.silent = true;
    }
}

} // namespace

FaultKnobs FaultKnobs::at(std::int64_t requestNumber, bool isProbe) const {
    FaultKnobs knobs = *this;
    const bool show = requestNumber >= from.value_or(requestNumber) &&
                      requestNumber <= until.value_or(requestNumber) &&
                      requestNumber % every.value_or(1) == 0 && !(spareprobe && isProbe);
    if (!show)
        static_cast<Faults&>(knobs) = {};
    if (knobs.random)
        addRandomFault(knobs, *knobs.random, requestNumber);
    return knobs;
}

std::optional<std::string> readKnobs(std::string_view query, FaultKnobs& knobs) {
    while (!query.empty()) {
        const std::string_view term = query.substr(0, query.find('&'));
        query.remove_prefix(std::min(query.size(), term.size() + 1));
        const std::size_t equals = term.find('=');
        const std::string_view name = term.substr(0, equals);
        const auto value =
            equals == std::string_view::npos ? std::nullopt : std::optional(term.substr(equals + 1));
        const auto* knob = std::find_if(kKnobs.begin(), kKnobs.end(),
                                        [&](const Knob& candidate) { return candidate.name == name; });
        if (knob == kKnobs.end())
            return "unknown knob: " + std::string(term);
        if (!setKnob(knobs, *knob, value) || !makesSense(knobs))
            return "wrong value: " + std::string(term);
    }
    return std::nullopt;
}

std::string knobValue(std::string_view text) {
    return QByteArray(text.data(), static_cast<qsizetype>(text.size())).toPercentEncoding().toStdString();
}

} // namespace tarvo::test
