// An address, parsed once and immutable; safe to share between threads.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarvo {

/// An absolute URL (RFC 3986). Kept as its percent-encoded text; the parts are read from it when
/// asked for. User name, password and the last path component are given decoded.
class Url {
public:
    /// None when `text` is no URL with a scheme. What a person would type (spaces, umlauts) is encoded.
    static std::optional<Url> parse(std::string_view text);

    /// The whole address as it goes to a server. It may hold a password: see withoutPassword().
    const std::string& absoluteString() const { return m_text; }

    std::string scheme() const; ///< in lower case
    std::string host() const;
    std::optional<int> unusualPort() const; ///< the port, unless it is the scheme's usual one
    std::string path() const;               ///< decoded
    std::string lastPathComponent() const;
    std::string localPath() const; ///< empty unless the scheme is "file"

    /// As written between "//" and "@" of the address: "http://@host/" names an empty user, "http://host/"
    /// none. A password is never empty.
    std::optional<std::string> user() const;
    std::optional<std::string> password() const;

    /// For logs, notices, attributes and screens: the address with the password left out.
    std::string withoutPassword() const;

    /// The address without user name and password.
    Url withoutCredentials() const;

    /// Scheme, host in its ASCII form and port, as in "https://host:8443": the port is left out where it is
    /// the scheme's usual one (RFC 6454, section 6.2).
    std::string origin() const;

    /// What `reference` means on a page with this address (RFC 3986, section 5.2); none when it is malformed.
    std::optional<Url> resolved(std::string_view reference) const;

    bool operator==(const Url& other) const = default;

private:
    explicit Url(std::string text) : m_text(std::move(text)) {}

    std::string m_text;
};

/// The passwords of all addresses in a text that holds more than an address, such as a header line. What only
/// looks like a password is among them. They point into `text`.
std::vector<std::string_view> passwordsIn(std::string_view text);

/// `text` with "***" in the place of each of them, for logs.
std::string withoutPasswords(std::string text);

/// Whether the two differ in nothing but the password, which is not kept everywhere.
bool isSameButForPassword(const Url& one, const Url& other);

/// Whether transfers carry this scheme (lower case): http, https, ftp and sftp are all there are.
bool isTransferScheme(std::string_view scheme);

} // namespace tarvo
