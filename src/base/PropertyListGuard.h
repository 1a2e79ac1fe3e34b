// The door check for property lists: what the parser behind it can't digest is refused here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "base/Error.h"

namespace tarvo {

enum class PropertyListFormat { Xml, Binary };

/// What a property list may hold. A few times what the program itself would ever write, and little
/// enough that reading it stays within some hundred megabytes and a few seconds.
namespace PropertyListLimit {
inline constexpr std::size_t kBytes = 64u << 20;          ///< of the file, and of all its texts and data
inline constexpr std::uint64_t kNodes = 2'000'000;        ///< values and keys, shared ones counted each time
inline constexpr std::size_t kDepth = 64;                 ///< containers within each other
inline constexpr std::uint64_t kDictionaryEntries = 1024; ///< of one dictionary
} // namespace PropertyListLimit

/// Judges the bytes of a file that anybody may have written, before libplist parses them: libplist and
/// its clean-up recurse, and it copies a shared value as often as it is referred to. Answers the format
/// of a list that is whole, well-formed and within PropertyListLimit; an error with
/// ErrorDomain::Tarvo, code 0, otherwise. Any thread.
///
/// Stricter than the formats allow: no comments, no CDATA, no internal DTD subset, no dates, and integers
/// in plain decimal that fit 64 signed bits. Keyed archives have none of the others.
Result<PropertyListFormat> judgePropertyList(std::string_view bytes);

/// The error for saved data that can't be read; `reason` completes "…: ".
Error damagedArchive(std::string_view reason);

} // namespace tarvo
