// What all programs of this folder share: the way to say what must hold.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace tarvo::fuzz {

/// Ends the program, which makes the input at hand a finding, unless `holds`.
inline void require(bool holds, std::string_view what) {
    if (holds)
        return;
    std::fprintf(stderr, "Does not hold: %.*s\n", static_cast<int>(what.size()), what.data());
    std::abort();
}

inline bool isPrintableAscii(std::string_view text) {
    for (const char c : text) {
        if (c <= ' ' || c > '~')
            return false;
    }
    return true;
}

} // namespace tarvo::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
