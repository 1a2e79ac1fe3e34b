#include "base/Url.h"

#include <algorithm>
#include <cctype>

#include <QUrl>

#include "base/Text.h"

namespace tarvo {

namespace {

QUrl parsed(const std::string& text) {
    return QUrl::fromEncoded(QByteArray::fromStdString(text));
}

/// The port that a scheme has where the address names none (RFC 9110, RFC 959, RFC 4251); 0 for others.
int usualPort(std::string_view scheme) {
    if (scheme == "http")
        return 80;
    if (scheme == "https")
        return 443;
    if (scheme == "ftp")
        return 21;
    return scheme == "sftp" ? 22 : 0;
}

std::string encoded(const QUrl& url) {
    return url.toEncoded(QUrl::FullyEncoded).toStdString();
}

} // namespace

std::optional<Url> Url::parse(std::string_view text) {
    const QUrl url(QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())).trimmed(),
                   QUrl::TolerantMode);
    if (!url.isValid() || url.isRelative())
        return std::nullopt;
    return Url(encoded(url));
}

std::string Url::scheme() const {
    // The text is absolute, and a scheme is plain letters up to the first colon (RFC 3986, section 3.1).
    return lowered(std::string_view(m_text).substr(0, m_text.find(':')));
}

std::string Url::host() const {
    return parsed(m_text).host().toStdString();
}

std::optional<int> Url::unusualPort() const {
    const int port = parsed(m_text).port(0);
    return port == 0 || port == usualPort(scheme()) ? std::nullopt : std::optional(port);
}

std::string Url::path() const {
    return parsed(m_text).path(QUrl::FullyDecoded).toStdString();
}

std::string Url::lastPathComponent() const {
    // Split before decoding: an encoded slash belongs to the component. A trailing slash does not.
    QString path = parsed(m_text).path(QUrl::FullyEncoded);
    while (path.size() > 1 && path.endsWith(u'/'))
        path.chop(1);
    if (path == u"/")
        return "/";
    return QUrl::fromPercentEncoding(path.section(u'/', -1).toUtf8()).toStdString();
}

std::string Url::localPath() const {
    return parsed(m_text).toLocalFile().toStdString();
}

std::optional<std::string> Url::user() const {
    const QUrl url = parsed(m_text);
    if (url.userInfo().isNull())
        return std::nullopt;
    return url.userName(QUrl::FullyDecoded).toStdString();
}

std::optional<std::string> Url::password() const {
    const QString password = parsed(m_text).password(QUrl::FullyDecoded);
    if (password.isNull() || password.isEmpty())
        return std::nullopt;
    return password.toStdString();
}

std::string Url::withoutPassword() const {
    return parsed(m_text).toEncoded(QUrl::FullyEncoded | QUrl::RemovePassword).toStdString();
}

Url Url::withoutCredentials() const {
    return Url(parsed(m_text).toEncoded(QUrl::FullyEncoded | QUrl::RemoveUserInfo).toStdString());
}

std::string Url::origin() const {
    // The text is as QUrl writes it: the host in lower case, what could be mistaken for a delimiter encoded.
    const std::size_t begin = std::min(m_text.find("//"), m_text.size() - 2) + 2;
    std::string authority = m_text.substr(begin, m_text.find_first_of("/?#", begin) - begin);
    authority.erase(0, authority.rfind('@') + 1);
    const std::string usual = ":" + std::to_string(usualPort(scheme()));
    if (authority.ends_with(usual))
        authority.erase(authority.size() - usual.size());
    return scheme() + "://" + authority;
}

std::optional<Url> Url::resolved(std::string_view reference) const {
    const QUrl relative(
        QString::fromUtf8(reference.data(), static_cast<qsizetype>(reference.size())).trimmed(),
        QUrl::TolerantMode);
    const QUrl target = parsed(m_text).resolved(relative);
    if (!relative.isValid() || !target.isValid() || target.isRelative())
        return std::nullopt;
    return Url(encoded(target));
}

std::vector<std::string_view> passwordsIn(std::string_view text) {
    constexpr std::string_view kMark = "://";
    std::vector<std::string_view> passwords;
    for (std::size_t at = 0; (at = text.find(kMark, at)) != std::string_view::npos;) {
        at += kMark.size();
        std::string_view authority = text.substr(at);
        // Further than an authority goes: what stands there may be meant as a password that was not encoded.
        authority = authority.substr(0, authority.find_first_of("/\r\n"));
        const std::string_view userInfo = authority.substr(0, authority.rfind('@'));
        const std::size_t colon = userInfo.find(':');
        if (userInfo.size() < authority.size() && colon != std::string_view::npos)
            passwords.push_back(userInfo.substr(colon + 1));
    }
    return passwords;
}

std::string withoutPasswords(std::string text) {
    const auto passwords = passwordsIn(text);
    for (auto each = passwords.rbegin(); each != passwords.rend(); ++each)
        text.replace(static_cast<std::size_t>(each->data() - text.data()), each->size(), "***");
    return text;
}

bool isSameButForPassword(const Url& one, const Url& other) {
    return one == other || one.withoutPassword() == other.withoutPassword();
}

bool isTransferScheme(std::string_view scheme) {
    return scheme == "http" || scheme == "https" || scheme == "ftp" || scheme == "sftp";
}

} // namespace tarvo
