#include "rows/HintRules.h"

namespace tarvo {

namespace {

bool holds(Hint hint, const HintFacts& facts) {
    switch (hint) {
    case Hint::diskFull:
        return facts.freeBytes && facts.neededBytes > *facts.freeBytes;
    case Hint::browserLinks:
        return facts.areLinksElsewhere;
    case Hint::noTray:
        return facts.isTrayMissing;
    }
    return false;
}

bool isAmong(std::string_view name, std::string_view names) {
    const std::string all = " " + std::string(names) + " ";
    return all.find(" " + std::string(name) + " ") != std::string::npos;
}

} // namespace

std::string_view nameOf(Hint hint) {
    switch (hint) {
    case Hint::diskFull:
        return "DiskFull";
    case Hint::browserLinks:
        return "BrowserLinks";
    case Hint::noTray:
        return "NoTray";
    }
    return {};
}

std::optional<Hint> hintToShow(const HintFacts& facts, std::string_view switchedOff,
                               const std::set<Hint>& closed) {
    for (const Hint hint : kHints) {
        if (holds(hint, facts) && !closed.contains(hint) && !isAmong(nameOf(hint), switchedOff))
            return hint;
    }
    return std::nullopt;
}

std::string withSwitchedOff(const std::string& switchedOff, Hint hint) {
    if (isAmong(nameOf(hint), switchedOff))
        return switchedOff;
    return switchedOff + (switchedOff.empty() ? "" : " ") + std::string(nameOf(hint));
}

} // namespace tarvo
