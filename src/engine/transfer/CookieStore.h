// The cookies of the program: put in by the built-in browser, sent by transfers, kept in a file.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Clock.h"
#include "base/Disk.h"
#include "base/Error.h"
#include "base/Locked.h"
#include "base/Url.h"

namespace tarvo {

/// A cookie as RFC 6265, section 5.3 stores it.
struct Cookie {
    std::string name;
    std::string value;
    std::string domain; ///< lower case, internationalised labels in their ASCII form, no leading dot
    std::string path = "/";
    bool hostOnly = true; ///< sent to `domain` itself only, not to hosts below it
    bool secure = false;  ///< sent over TLS only
    bool httpOnly = false;
    std::optional<WallTime> expires{}; ///< none: as long as the program runs
};

/// Any thread.
class CookieStore {
public:
    /// Adds a cookie; one of the same name, domain and path is replaced and keeps its place in the
    /// order. One that has expired only removes that one. A leading dot of the domain makes it a
    /// cookie for all hosts below; an internationalised domain is brought to its ASCII form. Refused,
    /// with the answer false, is what can't be sent: no domain, control characters, a semicolon.
    bool add(Cookie cookie, WallTime now);

    void remove(std::string_view name, std::string_view domain, std::string_view path);
    void removeAll();

    bool isEmpty() const { return m_cookies.lock()->empty(); }

    /// The cookies to send to `url`: longer paths first, then the earlier created (RFC 6265, section 5.4).
    std::vector<Cookie> cookiesForUrl(const Url& url, WallTime now) const;

    /// Adds what a cookie file in the Netscape format holds. Lines that are no cookie are skipped and
    /// logged by number. A file that is not there holds none. Errors: the file can't be read.
    Result<void> load(Disk& disk, const std::string& path, WallTime now);

    /// Writes all cookies that have an expiry date, for the owner only, in the place of the old file.
    /// One thread at a time for one path.
    Result<void> save(Disk& disk, const std::string& path, WallTime now) const;

    /// All of them, in the order of their creation.
    std::vector<Cookie> snapshot() const;

private:
    mutable Locked<std::vector<Cookie>> m_cookies; // in the order of their creation
};

} // namespace tarvo
