// What tarvo-get is asked to download, on its command line and in lists.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "base/Error.h"
#include "base/Url.h"

namespace tarvo {

/// What to download: an address, or a bundle of an unfinished download.
struct Target {
    std::optional<Url> url;
    std::string bundle; ///< absolute path; empty for an address
};

/// A line of a list that names nothing to download.
struct BadLine {
    std::size_t number = 0; ///< from 1
    std::string list;       ///< its name, "-" for standard input
    std::string text;       ///< as it may be shown
    Error reason;
};

/// What there is to say of it.
std::string sentenceOf(const BadLine& line);

/// Reads an argument or a line. Error: a sentence that says what is supported; no password is in it.
Result<Target> targetOf(const std::string& text);

/// Adds what a list names, one a line, blank lines and comments left out, and the lines that name nothing.
/// "-" is standard input. Error: POSIX, of a list that can't be read.
Result<void> readList(const std::string& name, std::vector<Target>& targets, std::vector<BadLine>& badLines);

} // namespace tarvo
