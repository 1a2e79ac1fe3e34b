// Whether a piece of text is a download address, and the clean address that it stands for.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Url.h"

namespace tarvo {

/// A text from outside that may be an address. It is taken apart by plain rules on the text, so that what
/// people and pages write is understood where a parser of URLs would refuse it. Immutable; any thread.
class TRStringURL {
public:
    /// No text at all is a caller's mistake: logged, and read as nothing.
    explicit TRStringURL(std::optional<std::string> rawString);

    /// Whether it begins with one of the addresses that transfers understand, in lower case.
    bool isSupported() const;

    /// The address with its path escaped anew, so that what was escaped before is not escaped twice; none
    /// when that is no URL, or names no host (RFC 9110, section 4.2.1). All of it is printable ASCII.
    std::optional<Url> formattedURL() const;

    /// The text without spaces and tabs at its ends.
    std::optional<std::string> decodedString() const;

    /// What stands before "://"; none, and a failed assertion in the log, where there is no "://".
    std::optional<std::string> scheme() const;
    std::optional<std::string> authority() const;            ///< up to the first "/"
    std::optional<std::string> otherHalfOfAuthority() const; ///< the rest; none when empty
    std::optional<std::string> path() const;                 ///< up to the first "?"
    std::optional<std::string> query() const;                ///< between the first "?" and the second
    std::optional<std::string> userpass() const;
    std::optional<std::string> hostport() const;
    std::optional<std::string> username() const;
    std::optional<std::string> password() const; ///< none when empty
    std::optional<std::string> hostname() const; ///< an IPv6 address with its brackets (RFC 3986, 3.2.2)
    std::optional<std::string> port() const;

private:
    std::optional<std::string_view> trimmed() const;

    const std::optional<std::string> m_rawString;
};

/// What a link may have in bytes. Servers take a tenth of it.
inline constexpr std::size_t kLongestLink = 1u << 16;

/// The address that a line holds, if that is a supported one. The line may end with "\r".
std::optional<Url> supportedURL(std::string_view line);

/// The lines of a text, without the "\n" that each but the last must have at its end.
std::vector<std::string_view> linesOf(std::string_view text);

} // namespace tarvo
