// Which hint stands above the list: at most one at a time.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace tarvo {

enum class Hint {
    diskFull,     ///< what is still to come has no room in the download folder
    browserLinks, ///< links of tarvo are opened by no program, or by another
    noTray,       ///< the desktop shows no icon of a program in the background
};

/// The most urgent first.
inline constexpr std::array kHints{Hint::diskFull, Hint::browserLinks, Hint::noTray};

/// By which the settings know it.
std::string_view nameOf(Hint hint);

struct HintFacts {
    std::optional<std::int64_t> freeBytes{}; ///< in the download folder; none: not known
    std::int64_t neededBytes = 0;            ///< by the unfinished downloads there
    bool areLinksElsewhere = false;
    bool isTrayMissing = false;
};

/// None where nothing is the matter, or the user has closed what could be told. `switchedOff` are names with
/// blanks between them.
std::optional<Hint> hintToShow(const HintFacts& facts, std::string_view switchedOff,
                               const std::set<Hint>& closed);

/// `switchedOff` with one more.
std::string withSwitchedOff(const std::string& switchedOff, Hint hint);

} // namespace tarvo
