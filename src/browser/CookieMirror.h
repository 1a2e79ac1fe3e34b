// Keeps the application's cookies and the engine's the same.
#pragma once

#include <QNetworkCookie>
#include <QObject>
#include <QWebEngineCookieStore>

#include "browserlink/BrowserMessages.h"

namespace tarvo {

/// Main thread. The engine tells of every cookie that is set or removed, those that scripts don't see and
/// those of the session among them.
class CookieMirror final : public QObject {
    Q_OBJECT

public:
    /// `store` outlives the mirror.
    explicit CookieMirror(QWebEngineCookieStore& store);

    void give(const CookieFacts& cookie);

    void forgetAll() { m_store.deleteAllCookies(); }

Q_SIGNALS:
    void added(const tarvo::CookieFacts& cookie);
    void removed(const tarvo::CookieFacts& cookie);

private:
    QWebEngineCookieStore& m_store;
};

} // namespace tarvo
