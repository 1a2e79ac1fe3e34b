// What tarvo and tarvo-browser tell each other over the browser's standard input and output.
#pragma once

#include <cstdint>
#include <string>
#include <variant>

namespace tarvo {

/// Both sides must speak the same one. Raised with every change of a message.
inline constexpr std::int64_t kBrowserProtocol = 1;

/// A cookie as it stands in its store (RFC 6265, section 5.3). Name and value are any bytes.
struct CookieFacts {
    std::string name;
    std::string value;
    std::string domain; ///< with a leading dot where it is for the hosts below, too
    std::string path;
    bool secure = false;
    bool httpOnly = false;
    std::int64_t expires = 0; ///< seconds since 1970; 0: with the session

    bool operator==(const CookieFacts&) const = default;
};

// --- to the browser

/// The first message. What the browser can't do without before it begins.
struct StartBrowser {
    std::int64_t protocol = kBrowserProtocol;
    std::string userAgent; ///< empty: the engine's own
    std::string proxy;     ///< an address; empty for none. It may hold a password
    std::string stem;      ///< how the names of unfinished files begin, which the application knows by it

    bool operator==(const StartBrowser&) const = default;
};

/// Put this cookie into the engine's store, as it was there before.
struct GiveCookie {
    CookieFacts cookie;

    bool operator==(const GiveCookie&) const = default;
};

/// Forget all cookies.
struct ForgetCookies {
    bool operator==(const ForgetCookies&) const = default;
};

/// Show a window, or bring it to the front where a visit of that number has one.
struct OpenPage {
    std::int64_t visit = 0; ///< 0: a window that stands for itself, else the visit that a row waits for
    std::string url;        ///< empty: none yet
    std::string folder;     ///< where what is downloaded from it goes; an absolute path

    bool operator==(const OpenPage&) const = default;
};

/// Close the windows of that visit, whose end is known.
struct ClosePage {
    std::int64_t visit = 0;

    bool operator==(const ClosePage&) const = default;
};

/// Break the download off, and remove its file.
struct CancelDownload {
    std::int64_t download = 0;

    bool operator==(const CancelDownload&) const = default;
};

/// The answer to AskCredentials.
struct GiveCredentials {
    std::int64_t question = 0;
    bool given = false; ///< otherwise the user has declined
    std::string user;
    std::string password;

    bool operator==(const GiveCredentials&) const = default;
};

// --- to the application

/// The first message: what has started.
struct BrowserHello {
    std::int64_t protocol = kBrowserProtocol;

    bool operator==(const BrowserHello&) const = default;
};

/// The browser can't run, and ends.
struct BrowserUnavailable {
    std::string reason; ///< "root": the engine's sandbox does not hold the system's administrator

    bool operator==(const BrowserUnavailable&) const = default;
};

struct CookieAdded {
    CookieFacts cookie;

    bool operator==(const CookieAdded&) const = default;
};

struct CookieRemoved {
    CookieFacts cookie;

    bool operator==(const CookieRemoved&) const = default;
};

/// A download has begun, into the file that downloadFile() names.
struct DownloadBegan {
    std::int64_t download = 0; ///< its number, from 1
    std::int64_t visit = 0;    ///< of the window; see OpenPage
    std::string url;           ///< cut where it is none of http or https
    std::string page;          ///< that it began on; empty where unknown
    std::string method;        ///< of the request: "GET", "POST", …
    std::string name;          ///< that was suggested for the file
    std::string mimeType;
    std::string folder;    ///< of the window; see OpenPage
    std::int64_t size = 0; ///< bytes; below 1: unknown

    bool operator==(const DownloadBegan&) const = default;
};

/// At most some times a second for each download.
struct DownloadProgress {
    std::int64_t download = 0;
    std::int64_t received = 0; ///< bytes
    std::int64_t size = 0;     ///< bytes; below 1: unknown

    bool operator==(const DownloadProgress&) const = default;
};

/// All bytes are in the file, or there is no file any more.
struct DownloadEnded {
    std::int64_t download = 0;
    bool complete = false;
    std::int64_t received = 0; ///< bytes
    std::string reason;        ///< the engine's word for what went wrong

    bool operator==(const DownloadEnded&) const = default;
};

/// The user has closed the windows of a visit, or has moved them out: they stand for themselves from now on.
struct VisitEnded {
    std::int64_t visit = 0;
    bool movedOut = false;

    bool operator==(const VisitEnded&) const = default;
};

/// A page wants to know who the user is (HTTP authentication).
struct AskCredentials {
    std::int64_t question = 0; ///< for the answer
    std::string url;           ///< of what is asked for; of a proxy, its own
    bool again = false;        ///< what was given last was not right

    bool operator==(const AskCredentials&) const = default;
};

/// What the browser reads.
using ToBrowser = std::variant<StartBrowser, GiveCookie, ForgetCookies, OpenPage, ClosePage, CancelDownload,
                               GiveCredentials>;

/// What the application reads.
using FromBrowser = std::variant<BrowserHello, BrowserUnavailable, CookieAdded, CookieRemoved, DownloadBegan,
                                 DownloadProgress, DownloadEnded, VisitEnded, AskCredentials>;

} // namespace tarvo
