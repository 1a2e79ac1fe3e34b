// Names that a server, a URL or a user proposes, made safe to create on disk.
#pragma once

#include <cerrno>
#include <optional>
#include <string>
#include <string_view>

#include "base/Error.h"

namespace tarvo {

/// The longest name of a folder entry, in bytes (NAME_MAX of <limits.h>).
inline constexpr std::size_t kLongestName = 255;

/// The file-name cleaner. `extension` (without its dot) is what will be appended to the result.
/// Reserved and control characters become "_"; the result together with the extension fits both 254
/// UTF-16 units plus a dot and 255 bytes of UTF-8, cut at a character boundary before its own extension;
/// leading dots are removed. No name at all gives "Error"; a name made only of dots gives an empty one.
std::string cleanFileName(const std::optional<std::string>& name, std::string_view extension);

/// The name to try as number `version` of `name`: a.tar.gz at version 2 is "a.tar (2).gz". Versions
/// below 2 are the name itself. The stem is cut as far as the longer name needs to fit kLongestName
/// together with `reserved` further bytes.
std::string renamedFileOrBareFile(const std::string& name, int version, std::size_t reserved = 0);

/// What there is to say when a name and all its versions are taken.
Error noFreeName();

/// Hands `take` the name itself, then version 2 of it and so on to 99, for as long as it answers EEXIST
/// (POSIX). Answers what `take` has answered last; noFreeName() when that was EEXIST to the end.
template <typename Take>
auto takeFreeName(const std::string& name, std::size_t reserved, Take take) -> decltype(take(name)) {
    constexpr int lastVersion = 99;
    for (int version = 1; version <= lastVersion; ++version) {
        auto taken = take(renamedFileOrBareFile(name, version, reserved));
        if (taken || !taken.error().is(ErrorDomain::Posix, EEXIST))
            return taken;
    }
    return failure(noFreeName());
}

/// `text` without what does not fit into `limit` bytes, cut between two characters of UTF-8.
std::string cutToBytes(std::string text, std::size_t limit);

} // namespace tarvo
