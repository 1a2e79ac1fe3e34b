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

std::string withoutControls(std::string text) {
    // The second byte of a control character of two (C2), the third of a direction (E2 80, E2 81).
    const auto byteAt = [&text](std::size_t at) {
        return at < text.size() ? static_cast<unsigned char>(text[at]) : 0;
    };
    const auto within = [](unsigned byte, unsigned first, unsigned last) {
        return byte >= first && byte <= last;
    };
    std::string clean;
    clean.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const unsigned first = byteAt(at);
        std::size_t length = 0;
        if (first < 0x20 || first == 0x7f)
            length = 1;
        else if (first == 0xc2 && within(byteAt(at + 1), 0x80, 0x9f))
            length = 2;
        else if (first == 0xe2 && ((byteAt(at + 1) == 0x80 && within(byteAt(at + 2), 0xaa, 0xae)) ||
                                   (byteAt(at + 1) == 0x81 && within(byteAt(at + 2), 0xa6, 0xa9))))
            length = 3;
        clean += length > 0 ? '?' : text[at];
        at += std::max<std::size_t>(length, 1);
    }
    return clean;
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
    result = withoutControls(std::move(result));
    return result.size() > most ? cutToBytes(std::move(result), most) + "…" : result;
}

} // namespace tarvo
