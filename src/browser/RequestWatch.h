// Looks at every request of the engine before it goes out.
#pragma once

#include <deque>
#include <utility>

#include <QByteArray>
#include <QUrl>
#include <QWebEngineUrlRequestInterceptor>

namespace tarvo {

/// Which addresses a page may be taken from: those of the web, and what pages make themselves. No local file.
bool isForBrowser(const QUrl& url);

/// Main thread.
class RequestWatch final : public QWebEngineUrlRequestInterceptor {
    Q_OBJECT

public:
    using QWebEngineUrlRequestInterceptor::QWebEngineUrlRequestInterceptor;

    void interceptRequest(QWebEngineUrlRequestInfo& info) override;

    /// With which method `url` was last asked for: a download does not say it.
    QByteArray methodOf(const QUrl& url) const;

private:
    std::deque<std::pair<QUrl, QByteArray>> m_methods; // of the last requests, the newest in front
};

} // namespace tarvo
