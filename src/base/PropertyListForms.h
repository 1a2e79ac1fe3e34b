// The two forms of a property list, each read by a function of its own.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "base/PropertyList.h"

namespace tarvo {

/// What is wrong with a list, as the key of its text; none: nothing.
using Problem = std::optional<std::string_view>;

namespace PropertyListProblem {
inline constexpr std::string_view kTooMany = "tr.archive.too-many-values";
inline constexpr std::string_view kTooWide = "tr.archive.dictionary-too-large";
} // namespace PropertyListProblem

/// Fills `values`; the first is the root. `bytes` is UTF-8.
Problem readXmlPropertyList(std::string_view bytes, std::vector<PropertyList::Value>& values);

/// Fills `values` and says which of them is the root.
Problem readBinaryPropertyList(std::string_view bytes, std::vector<PropertyList::Value>& values,
                               std::size_t& root);

} // namespace tarvo
