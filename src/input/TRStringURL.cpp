#include "input/TRStringURL.h"

#include <algorithm>
#include <array>

#include "base/Log.h"

namespace tarvo {

namespace {

constexpr std::string_view kSchemeEnd = "://";

/// The piece of that number between separators, counted from 0; none when there are fewer pieces.
std::optional<std::string_view> piece(std::string_view text, char separator, int number) {
    for (; number > 0; --number) {
        const std::size_t end = text.find(separator);
        if (end == std::string_view::npos)
            return std::nullopt;
        text.remove_prefix(end + 1);
    }
    return text.substr(0, text.find(separator));
}

std::optional<std::string> owned(std::optional<std::string_view> text) {
    return text ? std::optional<std::string>(*text) : std::nullopt;
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// Letters and digits in the C locale's sense, the marks of RFC 3986's "unreserved", and those of its
/// reserved characters that mean something in a path or after it.
bool staysInPath(char c) {
    const bool isAlphanumeric = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    return isAlphanumeric || std::string_view("-._~/:!*#").find(c) != std::string_view::npos;
}

/// A path with every escape taken out and the necessary ones put in.
std::string escapedAnew(std::string_view path) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string result;
    result.reserve(path.size());
    for (std::size_t i = 0; i < path.size(); ++i) {
        char c = path[i];
        const bool isEscape =
            c == '%' && i + 2 < path.size() && hexDigit(path[i + 1]) >= 0 && hexDigit(path[i + 2]) >= 0;
        if (isEscape) {
            c = static_cast<char>(hexDigit(path[i + 1]) * 16 + hexDigit(path[i + 2]));
            i += 2;
        }
        // A bare "#" begins the fragment, which no server sees; an escaped one is part of a file's name.
        if (staysInPath(c) && !(isEscape && c == '#')) {
            result += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        result += {'%', digits[byte >> 4], digits[byte & 0xF]};
    }
    return result;
}

} // namespace

TRStringURL::TRStringURL(std::optional<std::string> rawString) : m_rawString(std::move(rawString)) {
    Log::assertThat(m_rawString.has_value());
}

std::optional<std::string_view> TRStringURL::trimmed() const {
    if (!m_rawString)
        return std::nullopt;
    std::string_view text = *m_rawString;
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    return text.substr(0, text.find_last_not_of(" \t") + 1);
}

std::optional<std::string> TRStringURL::decodedString() const {
    return owned(trimmed());
}

bool TRStringURL::isSupported() const {
    constexpr std::array<std::string_view, 4> beginnings{"http://", "https://", "sftp://", "ftp://"};
    const auto text = trimmed();
    return text && std::any_of(beginnings.begin(), beginnings.end(),
                               [&](std::string_view beginning) { return text->starts_with(beginning); });
}

std::optional<std::string> TRStringURL::scheme() const {
    const auto text = trimmed();
    const std::size_t end = text ? text->find(kSchemeEnd) : std::string_view::npos;
    if (!Log::assertThat(end != std::string_view::npos))
        return std::nullopt;
    return std::string(text->substr(0, end));
}

std::optional<std::string> TRStringURL::authority() const {
    const auto text = trimmed();
    const std::size_t end = text ? text->find(kSchemeEnd) : std::string_view::npos;
    return end == std::string_view::npos ? std::nullopt
                                         : owned(piece(text->substr(end + kSchemeEnd.size()), '/', 0));
}

std::optional<std::string> TRStringURL::otherHalfOfAuthority() const {
    const auto text = trimmed();
    const std::size_t end = text ? text->find(kSchemeEnd) : std::string_view::npos;
    if (end == std::string_view::npos)
        return std::nullopt;
    const std::size_t slash = text->find('/', end + kSchemeEnd.size());
    return slash == std::string_view::npos ? std::nullopt : std::optional(std::string(text->substr(slash)));
}

std::optional<std::string> TRStringURL::path() const {
    const auto rest = otherHalfOfAuthority();
    return rest ? owned(piece(*rest, '?', 0)) : std::nullopt;
}

std::optional<std::string> TRStringURL::query() const {
    const auto rest = otherHalfOfAuthority();
    return rest ? owned(piece(*rest, '?', 1)) : std::nullopt;
}

std::optional<std::string> TRStringURL::userpass() const {
    const auto whole = authority();
    return whole && whole->find('@') != std::string::npos ? owned(piece(*whole, '@', 0)) : std::nullopt;
}

std::optional<std::string> TRStringURL::hostport() const {
    const auto whole = authority();
    if (!whole)
        return std::nullopt;
    const auto afterUser = piece(*whole, '@', 1);
    return afterUser ? owned(afterUser) : whole;
}

std::optional<std::string> TRStringURL::username() const {
    const auto both = userpass();
    return both ? owned(piece(*both, ':', 0)) : std::nullopt;
}

std::optional<std::string> TRStringURL::password() const {
    const auto both = userpass();
    const auto password = both ? piece(*both, ':', 1) : std::nullopt;
    return password && !password->empty() ? owned(password) : std::nullopt;
}

std::optional<std::string> TRStringURL::hostname() const {
    const auto both = hostport();
    if (!both)
        return std::nullopt;
    const std::size_t bracket = both->starts_with('[') ? both->find(']') : std::string::npos;
    return both->substr(0, both->find(':', bracket == std::string::npos ? 0 : bracket));
}

std::optional<std::string> TRStringURL::port() const {
    const auto both = hostport();
    return both ? owned(piece(std::string_view(*both).substr(hostname()->size()), ':', 1)) : std::nullopt;
}

std::optional<Url> TRStringURL::formattedURL() const {
    const auto begin = scheme();
    const auto host = hostname();
    if (!begin || !host)
        return std::nullopt;
    std::string text = *begin + std::string(kSchemeEnd);
    if (const auto name = username()) {
        const auto secret = password();
        text += *name + (secret ? ":" + *secret : std::string()) + "@";
    }
    text += *host;
    if (const auto number = port())
        text += ":" + *number;
    if (const auto way = path())
        text += escapedAnew(*way);
    if (const auto question = query())
        text += "?" + *question;
    auto url = Url::parse(text);
    return url && !url->host().empty() ? url : std::nullopt;
}

std::optional<Url> supportedURL(std::string_view line) {
    if (line.ends_with('\r'))
        line.remove_suffix(1);
    if (line.size() > kLongestLink)
        return std::nullopt;
    const TRStringURL candidate{std::string(line)};
    return candidate.isSupported() ? candidate.formattedURL() : std::nullopt;
}

std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        lines.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

} // namespace tarvo
