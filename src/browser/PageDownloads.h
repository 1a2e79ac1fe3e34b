// The downloads that pages begin.
#pragma once

#include <map>
#include <string>

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QWebEngineDownloadRequest>

#include "browserlink/BrowserMessages.h"

namespace tarvo {

/// Main thread. Each begins at once, into a file whose name the application knows, and is told; what becomes
/// of it is for the application to say.
class PageDownloads final : public QObject {
    Q_OBJECT

public:
    /// `stem`: see StartBrowser.
    explicit PageDownloads(std::string stem) : m_stem(std::move(stem)) {}

    /// What the engine's own account of a download lacks.
    struct Circumstances {
        std::int64_t visit = 0;
        QUrl page;
        QByteArray method;
        std::string folder;
    };

    void begin(QWebEngineDownloadRequest& request, const Circumstances& from);
    void cancel(std::int64_t download);

    bool isAnyRunning() const { return !m_running.empty(); }

Q_SIGNALS:
    void told(const tarvo::FromBrowser& message);
    void lastEnded();

private:
    struct Running {
        QPointer<QWebEngineDownloadRequest> request;
        QElapsedTimer told; // when progress was last told
    };

    void tellProgress(std::int64_t download);
    void tellEnd(std::int64_t download);

    const std::string m_stem;
    std::int64_t m_count = 0;
    std::map<std::int64_t, Running> m_running;
};

} // namespace tarvo
