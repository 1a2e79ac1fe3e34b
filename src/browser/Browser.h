// The built-in browser: its windows, and what it tells the application and is told by it.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include <QAuthenticator>
#include <QObject>
#include <QTimer>
#include <QWebEngineProfile>

#include "browser/BrowserWindow.h"
#include "browser/CookieMirror.h"
#include "browser/HostLink.h"
#include "browser/PageDownloads.h"
#include "browser/RequestWatch.h"

namespace tarvo {

/// Main thread. Nothing of what it shows or stores gets to the disk, but for downloads. Ends the main loop
/// some seconds after its last window and download, and at once when the application is gone.
class Browser final : public QObject {
    Q_OBJECT

public:
    /// `link` outlives it.
    Browser(HostLink& link, const StartBrowser& start);
    ~Browser() override;

private:
    void setUpProfile(const StartBrowser& start);
    void connectCookies();
    void take(const ToBrowser& message);
    void open(const OpenPage& wanted);
    BrowserWindow& makeWindow(std::int64_t visit, const std::string& folder);
    BrowserPage* makePopUp(BrowserPage& opener);
    BrowserWindow* windowOf(const QWebEnginePage* page) const;
    std::vector<BrowserWindow*> windowsOf(std::int64_t visit) const;
    void closeVisit(std::int64_t visit);
    void moveOut(std::int64_t visit);
    void windowClosed(std::int64_t visit);
    void beginDownload(QWebEngineDownloadRequest& request);
    void askCredentials(const QUrl& url, QAuthenticator& authenticator);
    void quitIfIdle();

    struct Question {
        std::function<void(const GiveCredentials& answer)> answered;
    };

    HostLink& m_link;
    std::unique_ptr<QWebEngineProfile> m_profile; // after the pages
    RequestWatch m_requests;
    std::unique_ptr<CookieMirror> m_cookies;
    PageDownloads m_downloads;
    std::vector<BrowserWindow*> m_windows; // each deletes itself
    std::map<std::int64_t, Question> m_questions;
    std::int64_t m_questionCount = 0;
    std::int64_t m_windowCount = 0;
    std::string m_lastAsked; // the server whose page has asked for the user's name last
    QTimer m_idle;           // there is nothing to do: soon the program ends
    bool m_isEnding = false;
};

} // namespace tarvo
