#include "engine/transfer/RequestHeaders.h"

#include "base/Text.h"

#include <algorithm>
#include <cctype>
#include <iterator>

namespace tarvo {

namespace {

/// In the name of a field, anywhere. The usual ones are Authorization, Proxy-Authorization, Cookie,
/// X-Api-Key, X-Auth-Token and PRIVATE-TOKEN; what is kept back in vain has only to be named again.
constexpr std::string_view kSecretWords[] = {"auth", "cookie", "credential", "jwt",  "key",    "pass",
                                             "pwd",  "secret", "session",    "sign", "ticket", "token"};

/// At the start of a value (RFC 9110, section 11.4), whatever the field is called.
constexpr std::string_view kSchemes[] = {"basic ", "bearer ", "digest ", "negotiate ", "token "};

constexpr std::string_view kReserved[] = {"content-length", "if-range", "range", "transfer-encoding"};

std::string_view valueOf(std::string_view header) {
    return trimmed(header.substr(std::min(header.find(':'), header.size() - 1) + 1));
}

} // namespace

bool isRequestHeader(std::string_view text) {
    const auto colon = text.find(':');
    constexpr std::string_view kToken = "!#$%&'*+-.^_`|~"; // RFC 9110, section 5.6.2
    const auto isToken = [&](unsigned char c) {
        return std::isalnum(c) != 0 || kToken.find(static_cast<char>(c)) != std::string_view::npos;
    };
    const auto steers = [](unsigned char c) { return c < 0x20 || c == 0x7f; };
    return colon != std::string_view::npos && colon > 0 &&
           std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(colon), isToken) &&
           std::none_of(text.begin(), text.end(), steers);
}

std::string headerName(std::string_view header) {
    return lowered(header.substr(0, header.find(':')));
}

bool isReservedHeader(std::string_view header) {
    return std::find(std::begin(kReserved), std::end(kReserved), headerName(header)) != std::end(kReserved);
}

bool mayHoldSecret(std::string_view header) {
    if (header.empty())
        return false;
    const std::string name = headerName(header);
    const std::string value = lowered(valueOf(header));
    return std::any_of(std::begin(kSecretWords), std::end(kSecretWords),
                       [&](std::string_view word) { return name.find(word) != std::string::npos; }) ||
           std::any_of(std::begin(kSchemes), std::end(kSchemes),
                       [&](std::string_view scheme) { return value.starts_with(scheme); });
}

RequestHeaders headersToKeep(const RequestHeaders& headers) {
    RequestHeaders kept;
    std::remove_copy_if(headers.begin(), headers.end(), std::back_inserter(kept), mayHoldSecret);
    return kept;
}

RequestHeaders withOthers(RequestHeaders own, const RequestHeaders& others) {
    const auto count = static_cast<std::ptrdiff_t>(own.size());
    const auto isNamed = [&own, count](const std::string& name) {
        return std::any_of(own.begin(), own.begin() + count,
                           [&](const std::string& each) { return headerName(each) == name; });
    };
    for (const auto& other : others) {
        if (!isNamed(headerName(other)))
            own.push_back(other);
    }
    return own;
}

std::string textOf(const RequestHeaders& headers) {
    std::string text;
    for (const auto& header : headers)
        text += (text.empty() ? "" : "\n") + header;
    return text;
}

RequestHeaders headersIn(std::string_view text) {
    constexpr std::size_t kMost = 100;
    RequestHeaders headers;
    while (!text.empty() && headers.size() < kMost) {
        const auto end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, end);
        if (isRequestHeader(line) && !isReservedHeader(line) && !mayHoldSecret(line))
            headers.emplace_back(line);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return headers;
}

} // namespace tarvo
