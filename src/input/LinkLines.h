// What a person types to be downloaded, line by line: which are addresses, and which can't be taken, and why.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/Url.h"

namespace tarvo {

struct LinkLine {
    enum class Kind {
        empty,        ///< nothing but blanks
        good,         ///< an address that can be downloaded
        repeated,     ///< an address that stands further up as well
        alreadyThere, ///< a download of it has been added before
        noAddress,    ///< no address at all
        otherScheme,  ///< an address of a kind that is not downloaded
        malformed,    ///< it begins like one that is, but is none
    };

    Kind kind = Kind::empty;
    std::optional<Url> url{};

    bool isBad() const {
        return kind == Kind::noAddress || kind == Kind::otherScheme || kind == Kind::malformed;
    }
};

/// How many there are of what a person wants to know.
struct LinkCounts {
    std::size_t addresses = 0;    ///< different ones
    std::size_t alreadyThere = 0; ///< of them
    std::size_t bad = 0;          ///< lines
};

LinkCounts countsOf(const std::vector<LinkLine>& lines);

/// Reads a text while it is being typed: a line that has been read before is not read again. One thread.
class LinkReader {
public:
    /// Whether a download of this identity (see RemoteFile) has been added before.
    using IsKnown = std::function<bool(const std::string& identity)>;

    /// One for each line of linesOf(text).
    std::vector<LinkLine> read(std::string_view text, const IsKnown& isKnown);

private:
    std::unordered_map<std::string, LinkLine> m_known; // the lines of the last text, by themselves
};

} // namespace tarvo
