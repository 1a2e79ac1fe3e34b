#include "pages/BuiltInBrowser.h"

#include <QRandomGenerator>

#include "app/LinkAdder.h"
#include "base/Log.h"
#include "base/Runloop.h"
#include "engine/transfer/ProxyUrlProvider.h"
#include "engine/transfer/TRUserAgent.h"

#include <algorithm>
#include <utility>

namespace tarvo {

namespace {

/// Calls the one that fits.
template <class... Calls>
struct Cases : Calls... {
    using Calls::operator()...;
};
template <class... Calls>
Cases(Calls...) -> Cases<Calls...>;

/// No file of another run has it.
std::string makeStem() {
    constexpr int kHexadecimal = 16;
    return ".tarvo-" + QString::number(QRandomGenerator::system()->generate64(), kHexadecimal).toStdString();
}

} // namespace

Cookie cookieOf(const CookieFacts& facts) {
    Cookie cookie{.name = facts.name,
                  .value = facts.value,
                  .domain = facts.domain,
                  .path = facts.path,
                  .hostOnly = !facts.domain.starts_with('.'),
                  .secure = facts.secure,
                  .httpOnly = facts.httpOnly};
    if (facts.expires > 0)
        cookie.expires = WallTime(std::chrono::seconds(facts.expires));
    return cookie;
}

CookieFacts factsOf(const Cookie& cookie) {
    return {.name = cookie.name,
            .value = cookie.value,
            .domain = (cookie.hostOnly ? "" : ".") + cookie.domain,
            .path = cookie.path,
            .secure = cookie.secure,
            .httpOnly = cookie.httpOnly,
            .expires =
                cookie.expires ? std::max<std::int64_t>(cookie.expires->time_since_epoch().count(), 1) : 0};
}

BuiltInBrowser::BuiltInBrowser(CookieKeeper& cookies, const UserDefaults& defaults, AlertPresenter& alerts,
                               std::string homeFolder, BrowserProcess::Command command)
    : m_cookies(cookies), m_defaults(defaults), m_alerts(alerts), m_homeFolder(std::move(homeFolder)),
      m_stem(makeStem()), m_process(std::move(command)) {
    connect(&m_visits, &PageVisits::pageWanted, this, &BuiltInBrowser::visit);
    connect(&m_visits, &PageVisits::pageUnwanted, this,
            [this](std::int64_t number) { m_process.send(ClosePage{number}); });
    connect(&m_process, &BrowserProcess::received, this, &BuiltInBrowser::take);
    connect(&m_process, &BrowserProcess::ended, this, &BuiltInBrowser::processEnded);
}

void BuiltInBrowser::attach(QueueController& queue, const JobEnvironment& jobs) {
    Runloop::assertMain();
    m_queue = &queue;
    m_jobs = &jobs;
    m_downloads = std::make_unique<WebkitDownloadHelper>(
        jobs, m_stem, [this](const std::string& folder) { return m_folders.contains(folder); },
        [this](std::int64_t download) { m_process.send(CancelDownload{download}); });
    connect(m_downloads.get(), &WebkitDownloadHelper::didBegin, this, &BuiltInBrowser::admit);
    connect(m_downloads.get(), &WebkitDownloadHelper::didCreateRemoteFile, this, &BuiltInBrowser::settle);
    connect(&queue, &QObject::destroyed, this, [this] {
        m_queue = nullptr;
        m_downloads.reset();
        m_lookUps.sync([] {}); // which may be asking for a password
    });
}

BrowserEndReason BuiltInBrowser::openBrowserFor(const std::shared_ptr<RemoteFile>& job,
                                                std::shared_ptr<RemoteFile>& replacement) {
    const auto end = m_visits.wait(job);
    Log::info("Browser modal ended for reason: {}", static_cast<int>(end.reason));
    replacement = end.replacement;
    return end.reason;
}

void BuiltInBrowser::closePages() {
    Runloop::assertMain();
    m_isOver = true;
    m_visits.refuse();
    m_process.close();
}

void BuiltInBrowser::openWindow(const std::string& url) {
    Runloop::assertMain();
    m_lastTold.clear();
    if (!m_isOver && startIfNeeded())
        show(0, url);
}

void BuiltInBrowser::visit(std::int64_t number) {
    const auto job = m_visits.jobOf(number);
    const auto url = job ? job->url() : std::nullopt;
    if (url && startIfNeeded())
        show(number, url->withoutCredentials().absoluteString());
    else
        m_visits.end(number, {});
}

/// A folder that is not there yet is made, beside the main thread.
void BuiltInBrowser::show(std::int64_t visit, const std::string& url) {
    const auto job = m_visits.jobOf(visit);
    const std::string folder = job ? job->basePath() : usualChoices(m_defaults, m_homeFolder).folder;
    m_folders.insert(folder);
    m_lookUps.async([this, isThere = std::weak_ptr(m_isThere), visit, url, folder] {
        if (const auto made = m_jobs->disk.makeFolders(folder); !made)
            Log::warning("{}", made.error().sentence());
        Runloop::runOnMainLater([this, isThere, visit, url, folder] {
            if (!isThere.expired() && (visit == 0 || m_visits.isOpen(visit)))
                m_process.send(OpenPage{visit, url, folder});
        });
    });
}

/// Answers whether there is a process now.
bool BuiltInBrowser::startIfNeeded() {
    if (!m_queue)
        return false;
    if (m_process.isRunning())
        return true;
    const auto proxy = ProxyUrlProvider(m_defaults).proxyUrl();
    const auto started =
        proxy ? m_process.start({.userAgent = TRUserAgent::effectiveUserAgent(m_defaults).value_or(""),
                                 .proxy = *proxy ? (*proxy)->absoluteString() : std::string(),
                                 .stem = m_stem})
              : Result<void>(failure(proxy.error()));
    if (started) {
        giveCookies();
        return true;
    }
    tellOnce(started.error());
    return false;
}

/// Many rows may wait for pages: the same is said again only when a browser has run meanwhile, or the user
/// asks for a window.
void BuiltInBrowser::tellOnce(const Error& problem) {
    Log::warning("There is no browser: {}", problem.sentence());
    if (std::exchange(m_lastTold, problem.sentence()) != problem.sentence())
        m_alerts.presentError(problem);
}

void BuiltInBrowser::giveCookies() {
    for (const Cookie& cookie : m_cookies.store().snapshot())
        m_process.send(GiveCookie{factsOf(cookie)});
}

void BuiltInBrowser::forgetCookies() {
    m_cookies.removeAll();
    m_process.send(ForgetCookies{});
}

void BuiltInBrowser::take(const FromBrowser& message) {
    if (m_isOver || !m_downloads)
        return;
    m_lastTold.clear();
    std::visit(Cases{[](const BrowserHello&) {}, [](const BrowserUnavailable&) {},
                     [this](const CookieAdded& added) { m_cookies.add(cookieOf(added.cookie)); },
                     [this](const CookieRemoved& removed) { m_cookies.remove(cookieOf(removed.cookie)); },
                     [this](const DownloadBegan& began) { m_downloads->downloadDidBegin(began); },
                     [this](const DownloadProgress& progress) { m_downloads->didReceiveData(progress); },
                     [this](const DownloadEnded& end) { m_downloads->downloadDidEnd(end); },
                     [this](const VisitEnded& end) {
                         m_visits.end(end.visit, {end.movedOut ? BrowserEndReason::movedOut
                                                               : BrowserEndReason::cancelled});
                     },
                     [this](const AskCredentials& question) { answer(question); }},
               message);
}

/// With what is known of the server, once; then the user is asked. The password store may take its time.
void BuiltInBrowser::answer(const AskCredentials& question) {
    const auto url = Url::parse(question.url);
    if (!url || !m_queue)
        return tell(question.question, nullptr);
    m_lookUps.async([this, isThere = std::weak_ptr(m_isThere), &credentials = m_queue->credentials(),
                     question, url = *url] {
        const auto known = !question.again && credentials.knowsCredentialsForURL(url)
                               ? credentials.getCredentialsForURL(url)
                               : nullptr;
        Runloop::runOnMainLater([this, isThere, question, url, known] {
            if (isThere.expired())
                return;
            if (known)
                tell(question.question, known);
            else
                prompt(question, url);
        });
    });
}

void BuiltInBrowser::prompt(const AskCredentials& question, const Url& url) {
    if (m_isOver || !m_queue)
        return;
    auto& credentials = m_queue->credentials();
    const bool isAnswered = credentials.promptUserForCredentialsForURL(url); // turns a loop of its own
    tell(question.question, isAnswered ? credentials.getCredentialsForURL(url) : nullptr);
}

void BuiltInBrowser::tell(std::int64_t question, const std::shared_ptr<const TRAuthToken>& answer) {
    GiveCredentials message;
    message.question = question;
    message.given = answer != nullptr;
    if (answer) {
        message.user = answer->username();
        message.password = answer->password();
    }
    m_process.send(message);
}

void BuiltInBrowser::processEnded(const std::optional<Error>& problem) {
    if (m_downloads)
        m_downloads->browserDidEnd();
    if (!problem && !m_isOver) { // it had just been idle for long enough when a page was wanted
        for (const std::int64_t number : m_visits.open())
            visit(number);
        return;
    }
    m_visits.endAll();
    if (problem && !m_isOver)
        tellOnce(*problem);
}

/// The row that a visit belongs to is there already.
void BuiltInBrowser::admit(const std::shared_ptr<RemoteFile>& job, std::int64_t visit) {
    if (!m_visits.isOpen(visit))
        add(job);
}

void BuiltInBrowser::settle(const std::shared_ptr<RemoteFile>& job, const std::shared_ptr<RemoteFile>& result,
                            std::int64_t visit) {
    if (m_visits.isOpen(visit)) {
        m_visits.end(visit, {BrowserEndReason::download, result});
        m_process.send(ClosePage{visit});
        return;
    }
    const bool isInQueue = m_queue->remoteFiles().content().contains(*job);
    if (!isInQueue)
        add(result); // the visit has ended with another download
    else if (result != job)
        if (const auto replaced = m_queue->remoteFiles().replaceRemoteFile(job, result); !replaced)
            m_alerts.presentError(replaced.error());
}

void BuiltInBrowser::add(const std::shared_ptr<RemoteFile>& job) {
    if (const auto added = m_queue->addDownloads({job}); !added) {
        job->stop();
        m_alerts.presentError(added.error());
    }
}

} // namespace tarvo
