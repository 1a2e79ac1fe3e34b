// Looking for one text in another.
#pragma once

#include <string_view>

#include <gtest/gtest.h>

namespace tarvo::test {

inline int countOf(std::string_view text, std::string_view part) {
    int count = 0;
    for (auto at = text.find(part); at != std::string_view::npos; at = text.find(part, at + part.size()))
        ++count;
    return count;
}

/// Whether `text` holds `part`; with the text to be shown when that is not as it should be.
inline ::testing::AssertionResult has(std::string_view text, std::string_view part) {
    const bool held = text.find(part) != std::string_view::npos;
    return ::testing::AssertionResult(held)
           << "\"" << part << "\" is " << (held ? "" : "not ") << "in: " << text;
}

} // namespace tarvo::test
