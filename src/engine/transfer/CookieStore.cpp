// Which cookie goes to which address, and the cookie file.
#include "engine/transfer/CookieStore.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>

#include <QUrl>
#include <arpa/inet.h>

#include "base/Log.h"
#include "base/Text.h"

namespace tarvo {

namespace {

constexpr std::size_t kMostCookies = 3000;      // RFC 6265, section 6.1
constexpr std::size_t kLongestCookie = 4096;    // name and value together; the same section
constexpr std::int64_t kLongestFile = 32 << 20; // several times what the two above can fill
constexpr std::string_view kFileHead = "# Netscape HTTP Cookie File\n";
constexpr std::string_view kHttpOnlyPrefix = "#HttpOnly_";

bool hasControl(std::string_view text) {
    return std::any_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; });
}

bool isIpAddress(const std::string& host) {
    in_addr address;
    return host.find(':') != std::string::npos || ::inet_pton(AF_INET, host.c_str(), &address) == 1;
}

/// RFC 6265, section 5.1.2. Empty when there is no such form.
std::string canonicalHost(std::string_view domain) {
    if (domain.size() > 1 && domain.front() == '[' && domain.back() == ']')
        domain = domain.substr(1, domain.size() - 2);
    const bool ascii = std::all_of(domain.begin(), domain.end(), [](unsigned char c) { return c < 0x80; });
    if (!ascii)
        return QUrl::toAce(QString::fromStdString(std::string(domain))).toLower().toStdString();
    return lowered(domain);
}

/// RFC 6265, section 5.1.3.
bool domainMatches(const std::string& host, const Cookie& cookie) {
    if (host == cookie.domain)
        return true;
    return !cookie.hostOnly && host.size() > cookie.domain.size() && host.ends_with(cookie.domain) &&
           host[host.size() - cookie.domain.size() - 1] == '.' && !isIpAddress(host);
}

/// RFC 6265, section 5.1.4.
bool pathMatches(const std::string& path, const std::string& cookiePath) {
    if (!path.starts_with(cookiePath))
        return false;
    return path.size() == cookiePath.size() || cookiePath.back() == '/' || path[cookiePath.size()] == '/';
}

bool isExpired(const Cookie& cookie, WallTime now) {
    return cookie.expires && *cookie.expires <= now;
}

/// Brings a cookie into the form in which it is kept; false when it can't be sent.
bool normalise(Cookie& cookie) {
    if (cookie.domain.starts_with('.')) {
        cookie.domain.erase(0, 1);
        cookie.hostOnly = false;
    }
    cookie.domain = canonicalHost(cookie.domain);
    // Without the list of public suffixes, at least no cookie is for all of a top level domain.
    if (cookie.domain.find('.') == std::string::npos || isIpAddress(cookie.domain))
        cookie.hostOnly = true;
    if (!cookie.path.starts_with('/'))
        cookie.path = "/";
    for (const std::string* part : {&cookie.name, &cookie.value, &cookie.domain, &cookie.path})
        if (hasControl(*part) || part->find(';') != std::string::npos)
            return false;
    return !cookie.domain.empty() && cookie.name.find('=') == std::string::npos &&
           cookie.name.size() + cookie.value.size() <= kLongestCookie;
}

void removeFrom(std::vector<Cookie>& cookies, std::string_view name, std::string_view domain,
                std::string_view path) {
    std::erase_if(cookies, [&](const Cookie& each) {
        return each.name == name && each.domain == domain && each.path == path;
    });
}

/// Makes room for one more; the expired go first, then the oldest (RFC 6265, section 5.3).
void makeRoom(std::vector<Cookie>& cookies, WallTime now) {
    if (cookies.size() < kMostCookies)
        return;
    std::erase_if(cookies, [now](const Cookie& each) { return isExpired(each, now); });
    if (cookies.size() >= kMostCookies)
        cookies.erase(cookies.begin());
}

std::vector<std::string_view> fieldsOf(std::string_view line) {
    std::vector<std::string_view> fields;
    while (true) {
        const std::size_t tab = line.find('\t');
        fields.push_back(line.substr(0, tab));
        if (tab == std::string_view::npos)
            return fields;
        line.remove_prefix(tab + 1);
    }
}

/// domain, for hosts below too, path, secure, expiry (0: none), name, value; separated by tabs.
std::optional<Cookie> cookieOfLine(std::string_view line) {
    Cookie cookie;
    cookie.httpOnly = line.starts_with(kHttpOnlyPrefix);
    if (cookie.httpOnly)
        line.remove_prefix(kHttpOnlyPrefix.size());
    const auto fields = fieldsOf(line);
    if (fields.size() != 7)
        return std::nullopt;
    std::int64_t expires = 0;
    const auto end = fields[4].data() + fields[4].size();
    const auto [stop, problem] = std::from_chars(fields[4].data(), end, expires);
    if (problem != std::errc() || stop != end || expires < 0)
        return std::nullopt;
    cookie.domain = fields[0];
    if (cookie.domain.starts_with('.'))
        cookie.domain.erase(0, 1);
    cookie.hostOnly = fields[1] != "TRUE";
    cookie.path = fields[2];
    cookie.secure = fields[3] == "TRUE";
    if (expires != 0)
        cookie.expires = WallTime(std::chrono::seconds(expires));
    cookie.name = fields[5];
    cookie.value = fields[6];
    return cookie;
}

std::string lineOf(const Cookie& cookie) {
    std::string line(cookie.httpOnly ? kHttpOnlyPrefix : std::string_view());
    line += (cookie.hostOnly ? "" : ".") + cookie.domain;
    line += cookie.hostOnly ? "\tFALSE\t" : "\tTRUE\t";
    line += cookie.path + (cookie.secure ? "\tTRUE\t" : "\tFALSE\t");
    line += std::to_string(cookie.expires->time_since_epoch().count());
    return line + "\t" + cookie.name + "\t" + cookie.value + "\n";
}

bool isComment(std::string_view line) {
    return line.empty() || (line.front() == '#' && !line.starts_with(kHttpOnlyPrefix));
}

} // namespace

bool CookieStore::add(Cookie cookie, WallTime now) {
    if (!normalise(cookie))
        return false;
    auto cookies = m_cookies.lock();
    if (isExpired(cookie, now)) {
        removeFrom(*cookies, cookie.name, cookie.domain, cookie.path);
        return true;
    }
    for (Cookie& each : *cookies) {
        if (each.name == cookie.name && each.domain == cookie.domain && each.path == cookie.path) {
            each = std::move(cookie);
            return true;
        }
    }
    makeRoom(*cookies, now);
    cookies->push_back(std::move(cookie));
    return true;
}

void CookieStore::remove(std::string_view name, std::string_view domain, std::string_view path) {
    if (domain.starts_with('.'))
        domain.remove_prefix(1);
    removeFrom(*m_cookies.lock(), name, canonicalHost(domain), path);
}

void CookieStore::removeAll() {
    m_cookies.lock()->clear();
}

std::vector<Cookie> CookieStore::snapshot() const {
    return *m_cookies.lock();
}

std::vector<Cookie> CookieStore::cookiesForUrl(const Url& url, WallTime now) const {
    const QUrl address = QUrl::fromEncoded(QByteArray::fromStdString(url.absoluteString()));
    const std::string host = canonicalHost(address.host(QUrl::FullyEncoded).toStdString());
    std::string path = address.path(QUrl::FullyEncoded).toStdString();
    if (path.empty())
        path = "/";
    const bool secure = url.scheme() == "https";
    std::vector<Cookie> found;
    {
        auto cookies = m_cookies.lock();
        std::copy_if(cookies->begin(), cookies->end(), std::back_inserter(found), [&](const Cookie& each) {
            return domainMatches(host, each) && pathMatches(path, each.path) && (secure || !each.secure) &&
                   !isExpired(each, now);
        });
    }
    std::stable_sort(found.begin(), found.end(),
                     [](const Cookie& a, const Cookie& b) { return a.path.size() > b.path.size(); });
    return found;
}

Result<void> CookieStore::load(Disk& disk, const std::string& path, WallTime now) {
    const auto content = disk.readFile(path, kLongestFile);
    if (!content) {
        const bool missing = content.error().is(ErrorDomain::Posix, ENOENT);
        return missing ? Result<void>() : failure(content.error());
    }
    std::string_view rest = *content;
    for (int number = 1; !rest.empty(); ++number) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        std::string_view line = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        if (isComment(line))
            continue;
        auto cookie = cookieOfLine(line);
        if (!cookie || !add(std::move(*cookie), now))
            Log::warning("Line {} of the cookie file \"{}\" is no cookie and was left out", number, path);
    }
    return {};
}

Result<void> CookieStore::save(Disk& disk, const std::string& path, WallTime now) const {
    std::string content(kFileHead);
    for (const Cookie& cookie : snapshot())
        if (cookie.expires && !isExpired(cookie, now))
            content += lineOf(cookie);
    if (auto made = disk.makeFolders(folderOf(path)); !made)
        return made;
    return disk.replaceFile(path, content);
}

} // namespace tarvo
