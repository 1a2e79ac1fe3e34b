#include "browser/Browser.h"

#include <algorithm>
#include <utility>

#include <QCoreApplication>
#include <QEventLoop>
#include <QWebEngineSettings>

namespace tarvo {

namespace {

constexpr int kIdleMs = 15'000; // long enough for one page after the other

/// Calls the one that fits.
template <class... Calls>
struct Cases : Calls... {
    using Calls::operator()...;
};
template <class... Calls>
Cases(Calls...) -> Cases<Calls...>;

} // namespace

Browser::Browser(HostLink& link, const StartBrowser& start)
    : m_link(link),
      m_profile(std::make_unique<QWebEngineProfile>()), // without a name it keeps nothing on disk
      m_downloads(start.stem) {
    setUpProfile(start);
    connectCookies();
    connect(&m_downloads, &PageDownloads::told, this,
            [this](const FromBrowser& message) { m_link.send(message); });
    m_idle.setSingleShot(true);
    m_idle.setInterval(kIdleMs);
    connect(&m_idle, &QTimer::timeout, this, [this] {
        if (m_windows.empty() && !m_downloads.isAnyRunning())
            QCoreApplication::quit();
    });
    connect(&m_downloads, &PageDownloads::lastEnded, this, &Browser::quitIfIdle);
    connect(m_profile.get(), &QWebEngineProfile::downloadRequested, this,
            [this](QWebEngineDownloadRequest* request) { beginDownload(*request); });
    connect(&m_link, &HostLink::received, this, &Browser::take);
    connect(&m_link, &HostLink::ended, this, [this] {
        m_isEnding = true;
        for (const auto& [number, question] : std::exchange(m_questions, {}))
            question.answered({});
        QCoreApplication::quit();
    });
}

Browser::~Browser() {
    m_isEnding = true;
    m_cookies.reset(); // what goes with the profile was not removed by a page
    for (auto* window : std::exchange(m_windows, {}))
        delete window;
}

void Browser::setUpProfile(const StartBrowser& start) {
    if (!start.userAgent.empty())
        m_profile->setHttpUserAgent(QString::fromStdString(start.userAgent));
    m_profile->setUrlRequestInterceptor(&m_requests);
    auto& settings = *m_profile->settings();
    using enum QWebEngineSettings::WebAttribute;
    for (const auto attribute :
         {LocalContentCanAccessFileUrls, LocalContentCanAccessRemoteUrls, PluginsEnabled, PdfViewerEnabled,
          JavascriptCanOpenWindows, ScreenCaptureEnabled})
        settings.setAttribute(attribute, false);
    settings.setAttribute(WebRTCPublicInterfacesOnly, true);
    settings.setUnknownUrlSchemePolicy(QWebEngineSettings::DisallowUnknownUrlSchemes);
}

void Browser::connectCookies() {
    m_cookies = std::make_unique<CookieMirror>(*m_profile->cookieStore());
    connect(m_cookies.get(), &CookieMirror::added, this,
            [this](const CookieFacts& cookie) { m_link.send(CookieAdded{cookie}); });
    connect(m_cookies.get(), &CookieMirror::removed, this,
            [this](const CookieFacts& cookie) { m_link.send(CookieRemoved{cookie}); });
}

void Browser::take(const ToBrowser& message) {
    std::visit(Cases{[](const StartBrowser&) {}, // there is one only, and it has come
                     [this](const GiveCookie& given) { m_cookies->give(given.cookie); },
                     [this](const ForgetCookies&) { m_cookies->forgetAll(); },
                     [this](const OpenPage& wanted) { open(wanted); },
                     [this](const ClosePage& wanted) { closeVisit(wanted.visit); },
                     [this](const CancelDownload& wanted) { m_downloads.cancel(wanted.download); },
                     [this](const GiveCredentials& answer) {
                         const auto asked = m_questions.extract(answer.question);
                         if (!asked.empty())
                             asked.mapped().answered(answer);
                     }},
               message);
}

void Browser::open(const OpenPage& wanted) {
    if (const auto open = windowsOf(wanted.visit); wanted.visit != 0 && !open.empty())
        return open.front()->bringToFront();
    BrowserWindow& window = makeWindow(wanted.visit, wanted.folder);
    const QUrl url = QUrl::fromEncoded(QByteArray::fromStdString(wanted.url), QUrl::StrictMode);
    if (isForBrowser(url))
        window.page().load(url);
    window.bringToFront();
}

BrowserWindow& Browser::makeWindow(std::int64_t visit, const std::string& folder) {
    auto* window = new BrowserWindow(
        *m_profile, [this](BrowserPage& opener) { return makePopUp(opener); }, ++m_windowCount, visit,
        folder);
    m_windows.push_back(window);
    connect(window, &BrowserWindow::moveOutWanted, this, [this, window] { moveOut(window->visit()); });
    connect(window, &BrowserWindow::newWindowWanted, this,
            [this, window] { makeWindow(0, window->folder()).bringToFront(); });
    connect(&window->page(), &QWebEnginePage::authenticationRequired, this,
            [this](const QUrl& url, QAuthenticator* authenticator) { askCredentials(url, *authenticator); });
    connect(&window->page(), &QWebEnginePage::proxyAuthenticationRequired, this,
            [this](const QUrl&, QAuthenticator* authenticator, const QString& proxyHost) {
                QUrl proxy;
                proxy.setScheme(QStringLiteral("http"));
                proxy.setHost(proxyHost);
                askCredentials(proxy, *authenticator);
            });
    connect(&window->page(), &QWebEnginePage::loadFinished, this, [this](bool isThere) {
        if (isThere)
            m_lastAsked.clear();
    });
    connect(window, &BrowserWindow::downloadsAnswered, this,
            [this, window](bool areWanted) { m_downloads.release(window->number(), areWanted); });
    connect(window, &BrowserWindow::closed, this, [this, window] {
        m_downloads.release(window->number(), false); // without an answer
        std::erase(m_windows, window);
        windowClosed(window->visit());
        quitIfIdle();
    });
    return *window;
}

BrowserPage* Browser::makePopUp(BrowserPage& opener) {
    const auto* from = windowOf(&opener);
    if (!from || m_isEnding)
        return nullptr;
    BrowserWindow& window = makeWindow(from->visit(), from->folder());
    window.page().setOpenedFrom(opener.origin());
    window.bringToFront();
    return &window.page();
}

BrowserWindow* Browser::windowOf(const QWebEnginePage* page) const {
    const auto found = std::find_if(m_windows.begin(), m_windows.end(),
                                    [page](auto* each) { return &each->page() == page; });
    return found == m_windows.end() ? nullptr : *found;
}

std::vector<BrowserWindow*> Browser::windowsOf(std::int64_t visit) const {
    std::vector<BrowserWindow*> found;
    std::copy_if(m_windows.begin(), m_windows.end(), std::back_inserter(found),
                 [visit](const auto* each) { return each->visit() == visit; });
    return found;
}

/// The application knows its end already.
void Browser::closeVisit(std::int64_t visit) {
    for (auto* window : windowsOf(visit)) {
        window->leaveVisit();
        window->close();
    }
}

void Browser::moveOut(std::int64_t visit) {
    for (auto* window : windowsOf(visit))
        window->leaveVisit();
    m_link.send(VisitEnded{visit, true});
}

void Browser::windowClosed(std::int64_t visit) {
    if (visit != 0 && windowsOf(visit).empty())
        m_link.send(VisitEnded{visit, false});
}

/// A link that opens a window of its own to become a download leaves that window empty.
void Browser::beginDownload(QWebEngineDownloadRequest& request) {
    auto* window = windowOf(qobject_cast<BrowserPage*>(request.page()));
    if (!window && !m_windows.empty())
        window = m_windows.front();
    if (!window || request.isSavePageDownload() || m_downloads.isFull())
        return; // which refuses it
    const auto leave = window->leaveForDownload();
    if (leave == BrowserWindow::Leave::refused)
        return;
    m_downloads.begin(request, {.visit = window->visit(),
                                .page = window->page().origin(),
                                .method = m_requests.methodOf(request.url()),
                                .folder = window->folder(),
                                .held = leave == BrowserWindow::Leave::asked ? window->number() : 0});
    if (window->page().isEmpty() && windowsOf(window->visit()).size() > 1)
        window->close();
}

/// The engine wants its answer at once: a loop of its own is turned until the user has given it.
void Browser::askCredentials(const QUrl& url, QAuthenticator& authenticator) {
    const std::int64_t number = ++m_questionCount;
    const std::string server = url.adjusted(QUrl::RemovePath | QUrl::RemoveQuery).toString().toStdString();
    const bool again = std::exchange(m_lastAsked, server) == server;
    GiveCredentials answer;
    QEventLoop loop;
    m_questions[number] = {[&](const GiveCredentials& given) {
        answer = given;
        loop.quit();
    }};
    m_link.send(
        AskCredentials{number, url.toString(QUrl::FullyEncoded | QUrl::RemoveUserInfo).toStdString(), again});
    loop.exec();
    m_questions.erase(number);
    if (!answer.given) {
        authenticator = QAuthenticator(); // which ends the request
        m_lastAsked.clear();
        return;
    }
    authenticator.setUser(QString::fromStdString(answer.user));
    authenticator.setPassword(QString::fromStdString(answer.password));
}

void Browser::quitIfIdle() {
    if (m_windows.empty() && !m_downloads.isAnyRunning())
        m_idle.start();
}

} // namespace tarvo
