#include "browser/CookieMirror.h"

#include <algorithm>

#include <QDateTime>
#include <QUrl>

namespace tarvo {

namespace {

/// Beyond it dates are no use to anyone: the year 9999.
constexpr qint64 kLastSecond = 253'402'300'799;

CookieFacts factsOf(const QNetworkCookie& cookie) {
    const QDateTime expires = cookie.expirationDate();
    return {.name = cookie.name().toStdString(),
            .value = cookie.value().toStdString(),
            .domain = cookie.domain().toStdString(),
            .path = cookie.path().toStdString(),
            .secure = cookie.isSecure(),
            .httpOnly = cookie.isHttpOnly(),
            .expires =
                expires.isValid() ? std::clamp<qint64>(expires.toSecsSinceEpoch(), 1, kLastSecond) : 0};
}

} // namespace

CookieMirror::CookieMirror(QWebEngineCookieStore& store) : m_store(store) {
    connect(&store, &QWebEngineCookieStore::cookieAdded, this,
            [this](const QNetworkCookie& cookie) { Q_EMIT added(factsOf(cookie)); });
    connect(&store, &QWebEngineCookieStore::cookieRemoved, this,
            [this](const QNetworkCookie& cookie) { Q_EMIT removed(factsOf(cookie)); });
}

void CookieMirror::give(const CookieFacts& facts) {
    QNetworkCookie cookie(QByteArray::fromStdString(facts.name), QByteArray::fromStdString(facts.value));
    const bool isForHostOnly = !facts.domain.starts_with('.');
    const QString domain = QString::fromStdString(facts.domain);
    QUrl origin;
    origin.setScheme(QString::fromLatin1(facts.secure ? "https" : "http"));
    origin.setHost(isForHostOnly ? domain : domain.mid(1));
    origin.setPath(QString::fromStdString(facts.path));
    if (!isForHostOnly) // one that names its domain is for the hosts below, too
        cookie.setDomain(domain);
    cookie.setPath(QString::fromStdString(facts.path));
    cookie.setSecure(facts.secure);
    cookie.setHttpOnly(facts.httpOnly);
    if (facts.expires > 0)
        cookie.setExpirationDate(QDateTime::fromSecsSinceEpoch(facts.expires));
    m_store.setCookie(cookie, origin);
}

} // namespace tarvo
