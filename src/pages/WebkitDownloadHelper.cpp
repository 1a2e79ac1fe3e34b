#include "pages/WebkitDownloadHelper.h"

#include "base/Localized.h"
#include "base/Log.h"
#include "base/Runloop.h"
#include "base/Settings.h"
#include "browserlink/MessageLines.h"
#include "jobs/CURLRemoteFile.h"

#include <utility>

namespace tarvo {

namespace {

/// The engine's own name for what it is still writing.
constexpr std::string_view kGrowingSuffix = ".download";

Error notFinished(const std::string& reason) {
    return Error::tarvo(localized("tr.err.browser-download", {reason}));
}

} // namespace

bool canBeFetched(const DownloadBegan& began) {
    const auto url = Url::parse(began.url);
    return url && began.method == "GET" && !url->host().empty() &&
           (url->scheme() == "http" || url->scheme() == "https");
}

WebkitDownloadHelper::WebkitDownloadHelper(const JobEnvironment& environment, std::string stem,
                                           IsKnownFolder isKnownFolder, Cancel cancel)
    : m_environment(environment), m_stem(std::move(stem)), m_isKnownFolder(std::move(isKnownFolder)),
      m_cancel(std::move(cancel)) {
}

WebkitDownloadHelper::~WebkitDownloadHelper() {
    m_isEnding = true;
    if (const auto probe = *m_probe.lock())
        probe->requestStop();
    m_isThere.reset();
}

void WebkitDownloadHelper::downloadDidBegin(const DownloadBegan& began) {
    Runloop::assertMain();
    const auto url = Url::parse(began.url);
    if (!url || !m_isKnownFolder(began.folder) || m_downloadMappings.contains(began.download)) {
        Log::error("The browser has begun a download that can't be followed");
        return m_cancel(began.download);
    }
    const std::string part = began.folder + "/" + downloadFile(m_stem, began.download);
    const Download download{
        URLRemoteFile::create({.url = *url,
                               .sourceURL = Url::parse(began.page),
                               .folder = began.folder,
                               .partFile = part,
                               .growingFile = part + std::string(kGrowingSuffix),
                               .suggestedName = began.name,
                               .size = began.size,
                               .cancel = [cancel = m_cancel, id = began.download] { cancel(id); }},
                              m_environment),
        began.visit};
    m_downloadMappings[began.download] = download.job;
    Q_EMIT didBegin(download.job, began.visit);
    if (canBeFetched(began))
        probe(download, *url);
    else
        decide(download, false);
}

/// One after the other, like all preparations of what pages begin.
void WebkitDownloadHelper::probe(const Download& download, const Url& url) {
    const auto page =
        download.job->sourceURL() == url ? std::nullopt : std::optional(download.job->sourceURL());
    m_upgradeQueue.async([this, isThere = std::weak_ptr(m_isThere), download, url, page] {
        const auto probe = std::make_shared<DownloadProbe>(m_environment.transfers, url, page, AuthTokens());
        *m_probe.lock() = probe;
        if (m_isEnding)
            return;
        const auto answers = probe->run();
        m_probe.lock()->reset();
        if (!answers)
            Log::info("A download of the browser stays there: {}", answers.error().sentence());
        Runloop::runOnMainLater([this, isThere, download, isFile = answers.has_value()] {
            if (!isThere.expired())
                decide(download, isFile);
        });
    });
}

void WebkitDownloadHelper::decide(const Download& download, bool isFile) {
    const auto& single = download.job;
    if (single->currentState() == rf_state_stopped) // by the user
        return;
    if (!isFile || single->currentState() != rf_state_running)
        return Q_EMIT didCreateRemoteFile(single, single, download.visit);
    const auto url = single->url();
    const auto& page = single->sourceURL();
    const auto segmented =
        CURLRemoteFile::make({.url = url,
                              .folder = single->basePath(),
                              .facts = {.referer = page == *url ? std::nullopt : std::optional(page),
                                        .requestedPartitions = usableConnections(
                                            Settings(m_environment.defaults).defaultThreading())},
                              .added = m_environment.clock.wallNow()},
                             m_environment);
    Q_EMIT didCreateRemoteFile(single, segmented, download.visit);
    single->stop(); // which removes its file
}

void WebkitDownloadHelper::didReceiveData(const DownloadProgress& progress) {
    if (const auto job = find(progress.download))
        job->noteBytesDownloaded(progress.received, progress.size);
}

void WebkitDownloadHelper::downloadDidEnd(const DownloadEnded& end) {
    const auto job = find(end.download);
    if (!job)
        return;
    m_downloadMappings.erase(end.download);
    if (!end.complete)
        return job->noteFailedWithError(notFinished(end.reason));
    job->noteBytesDownloaded(end.received, end.received);
    job->noteSucceeded();
}

void WebkitDownloadHelper::browserDidEnd() {
    for (const auto& [number, job] : std::exchange(m_downloadMappings, {}))
        job->noteFailedWithError(notFinished(localized("tr.err.browser-ended")));
}

/// Null where it is over, or was never followed.
std::shared_ptr<URLRemoteFile> WebkitDownloadHelper::find(std::int64_t download) const {
    const auto found = m_downloadMappings.find(download);
    return found == m_downloadMappings.end() ? nullptr : found->second;
}

} // namespace tarvo
