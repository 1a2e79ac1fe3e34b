// The built-in browser as the application has it: shows pages, and brings cookies and downloads from them.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include <QObject>

#include "app/CookieKeeper.h"
#include "base/SerialQueue.h"
#include "pages/BrowserProcess.h"
#include "pages/PageVisits.h"
#include "pages/WebkitDownloadHelper.h"
#include "queue/QueueController.h"

namespace tarvo {

/// A process is started when a page is first wanted. Main thread, but for openBrowserFor().
class BuiltInBrowser final : public QObject, public PageOpener {
    Q_OBJECT

public:
    /// All that is referred to outlives the browser; `homeFolder` is absolute.
    BuiltInBrowser(CookieKeeper& cookies, const UserDefaults& defaults, AlertPresenter& alerts,
                   std::string homeFolder, BrowserProcess::Command command = BrowserProcess::installed());

    /// From now on downloads go into `queue`. Both outlive all use of the browser, but not the browser.
    void attach(QueueController& queue, const JobEnvironment& jobs);

    /// A window that stands for itself.
    void openWindow(const std::string& url = {});

    BrowserEndReason openBrowserFor(const std::shared_ptr<RemoteFile>& job,
                                    std::shared_ptr<RemoteFile>& replacement) override;
    void closePages() override;

    /// Of the browser's pages and of the transfers.
    void forgetCookies();

private:
    void visit(std::int64_t number);
    void show(std::int64_t visit, const std::string& url);
    bool startIfNeeded();
    void tellOnce(const Error& problem);
    void giveCookies();
    void take(const FromBrowser& message);
    void answer(const AskCredentials& question);
    void prompt(const AskCredentials& question, const Url& url);
    void tell(std::int64_t question, const std::shared_ptr<const TRAuthToken>& answer);
    void processEnded(const std::optional<Error>& problem);
    void admit(const std::shared_ptr<RemoteFile>& job, std::int64_t visit);
    void settle(const std::shared_ptr<RemoteFile>& job, const std::shared_ptr<RemoteFile>& result,
                std::int64_t visit);
    void add(const std::shared_ptr<RemoteFile>& job);

    CookieKeeper& m_cookies;
    const UserDefaults& m_defaults;
    AlertPresenter& m_alerts;
    const std::string m_homeFolder;
    const std::string m_stem; // see StartBrowser
    QueueController* m_queue = nullptr;
    const JobEnvironment* m_jobs = nullptr;
    std::set<std::string> m_folders; // that the browser was given
    std::string m_lastTold;          // why there is no browser
    bool m_isOver = false;
    PageVisits m_visits;
    std::unique_ptr<WebkitDownloadHelper> m_downloads;
    BrowserProcess m_process;
    std::shared_ptr<bool> m_isThere = std::make_shared<bool>(true);      // gone with the object
    SerialQueue m_lookUps{"com.unregistered.tarvo2.browserLookUpQueue"}; // folders and passwords; ends first
};

/// The same cookie, as the two sides of the pipe write it.
Cookie cookieOf(const CookieFacts& facts);
CookieFacts factsOf(const Cookie& cookie);

} // namespace tarvo
