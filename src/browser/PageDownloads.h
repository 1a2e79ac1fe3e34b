// The downloads that pages begin.
#pragma once

#include <map>
#include <optional>
#include <string>

#include <QElapsedTimer>
#include <QObject>
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
        std::int64_t held = 0; ///< not told before release() with this number; 0: told at once
    };

    void begin(QWebEngineDownloadRequest& request, const Circumstances& from);
    void cancel(std::int64_t download);

    /// The user has said whether the downloads that are held under this number are wanted.
    void release(std::int64_t held, bool areWanted);

    /// Whether there are as many as a person could want at a time: a page might not stop by itself.
    bool isFull() const { return m_running.size() >= kMostRunning; }

    bool isAnyRunning() const { return !m_running.empty(); }

Q_SIGNALS:
    void told(const tarvo::FromBrowser& message);
    void lastEnded();

private:
    static constexpr std::size_t kMostRunning = 200;

    struct Running {
        QWebEngineDownloadRequest* request = nullptr; // null once it is gone
        QElapsedTimer told;                           // when progress was last told
        DownloadBegan began;
        std::int64_t held = 0;
        std::optional<DownloadEnded> end; // of one that is held
    };

    void drop(std::int64_t download);
    void finish(std::int64_t download, const DownloadEnded& end);
    void tellProgress(std::int64_t download);
    void tellEnd(std::int64_t download);

    const std::string m_stem;
    std::int64_t m_count = 0;
    std::map<std::int64_t, Running> m_running;
};

} // namespace tarvo
