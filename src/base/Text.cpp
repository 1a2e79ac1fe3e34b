#include "base/Text.h"

#include "base/FileName.h"
#include "base/Url.h"

#include <algorithm>

namespace tarvo {

namespace {

constexpr std::string_view kWhiteSpace = " \t\r\n\v\f";

} // namespace

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kWhiteSpace);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

std::string lowered(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return result;
}

std::string shown(std::string_view text) {
    constexpr std::size_t most = 200; // bytes
    std::string result(text);
    if (const auto url = Url::parse(text); url && !url->host().empty()) {
        if (url->scheme() == "tarvo")
            return "tarvo://" + url->host() + "/…";
        result = url->withoutPassword();
    } else {
        const std::size_t scheme = text.find("://");
        const std::size_t colon = text.find(':', scheme == std::string_view::npos ? 0 : scheme + 3);
        const std::size_t at = text.rfind('@');
        if (colon < at && at != std::string_view::npos)
            result.replace(colon + 1, at - colon - 1, "***");
    }
    return result.size() > most ? cutToBytes(std::move(result), most) + "…" : result;
}

} // namespace tarvo
