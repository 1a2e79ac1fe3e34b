// Property lists, XML and binary, read from files that anyone may have written.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/Error.h"

namespace tarvo {

/// What a property list may hold: a few times what the program itself would ever write, and little enough
/// that reading it stays within some hundred megabytes and a few seconds.
namespace PropertyListLimit {
inline constexpr std::size_t kBytes = 64u << 20;        ///< of the file, and of all its texts and data
inline constexpr std::size_t kValues = 2'000'000;       ///< keys among them, and references between them
inline constexpr std::size_t kDictionaryEntries = 1024; ///< of one dictionary, which is searched in a row
} // namespace PropertyListLimit

/// A property list as it was read: its values in one table, containers naming theirs by place. Reading it
/// does not recurse, and follows no reference, so nothing is read twice; but a container may contain itself.
/// Any thread.
///
/// Stricter than the formats allow: no comments, no CDATA, no internal DTD subset, no dates, and integers
/// that fit 64 signed bits. Keyed archives have none of the others.
class PropertyList {
public:
    enum class Kind { boolean, integer, real, text, data, uid, array, dictionary };

    struct Value {
        Kind kind = Kind::boolean;
        std::int64_t number = 0;          ///< of a boolean, an integer or a UID
        std::string bytes;                ///< a text in UTF-8, or data
        std::vector<std::uint32_t> parts; ///< places: of an array's values; of each key and then its value
    };

    /// Error: ErrorDomain::Tarvo, code 0, when the list is not whole, well-formed and within its limits.
    static Result<PropertyList> read(std::string_view bytes);

    const Value& root() const { return m_values[m_root]; }

    /// The value at a place that one of `parts` names.
    const Value& at(std::uint32_t place) const { return m_values[place]; }

    /// The value under `key`; null where there is none, and where `dictionary` is no dictionary or null.
    const Value* find(const Value* dictionary, std::string_view key) const;

private:
    std::vector<Value> m_values;
    std::size_t m_root = 0;
};

/// The error for saved data that can't be read; the text of `reasonKey` completes "…: ".
Error damagedArchive(std::string_view reasonKey);

} // namespace tarvo
