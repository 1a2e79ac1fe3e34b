#include "jobs/DownloadProbe.h"

#include "base/Localized.h"
#include "jobs/AuthenticationManager.h"
#include "jobs/JobErrors.h"
#include "jobs/PageRule.h"

namespace tarvo {

namespace {

constexpr int kMostServers = 10; // that ask one after the other on the way to a file

std::string serviceOf(const Url& url) {
    return AuthenticationManager::getServiceNameFromURL(url);
}

} // namespace

Result<ProbeAnswers> DownloadProbe::run() {
    Source source = sourceAt(m_url);
    Run probed = probe(source);
    for (int servers = 1; probed.problem && probed.scout->requiresAuthentication(); ++servers) {
        const Url asking = probed.scout->lastAsked().value_or(source.url);
        const bool isAnother = serviceOf(asking) != serviceOf(source.url);
        Source next = sourceAt(asking);
        if (!isAnother || !next.auth || servers == kMostServers)
            return failure(authenticationError(asking, *probed.problem));
        source = std::move(next);
        probed = probe(source);
    }
    if (probed.problem)
        return failure(*probed.problem);
    const auto& scout = probed.scout;
    const bool isPage = scout->isHtmlPage();
    if (const auto wanted = isPage ? checkPage(*scout) : Result<void>(); !wanted)
        return failure(wanted.error());
    if (scout->isFtpDirectory())
        return failure(remoteFileError(kRemoteFileFtpDirectory, "tr.err.ftp-directory"));
    const std::int64_t largest = m_environment.traits.largestFile;
    if (largest > 0 && scout->contentLength() > largest)
        return failure(tooLarge(scout->contentLength(), largest));
    // A page may be made anew for each request: it comes in one answer, of which none else tells the length.
    const bool supportsParts = scout->supportsMultipartDownloads();
    const Url last = scout->lastAsked().value_or(source.url);
    const bool isIndex =
        isPage && !scout->isAttachment() && (last.path().empty() || last.path().ends_with('/'));
    return ProbeAnswers{supportsParts && !isPage,
                        isPage && !supportsParts ? 0 : scout->contentLength(),
                        isIndex ? "index.html" : scout->suggestedFilename(),
                        scout->validator(),
                        source.url,
                        source.auth};
}

/// Where a file was expected, a page is most often a server's way to say something else.
Result<void> DownloadProbe::checkPage(const Scout& scout) const {
    const Pages pages = m_environment.traits.pages;
    const bool isAskedFor = looksLikePage(m_url) || scout.isAttachment();
    if (pages == Pages::taken || (pages == Pages::takenIfAskedFor && isAskedFor))
        return {};
    return failure(remoteFileError(HTMLPageErrorCode, "tr.err.html-file",
                                   pages == Pages::refused ? "" : "tr.err.html-file-recovery"));
}

void DownloadProbe::requestStop() {
    auto running = m_running.lock();
    running->isStopped = true;
    if (running->scout)
        running->scout->requestStop();
}

/// Without the referrer, but with it where that is refused: some servers serve their own pages' links only.
DownloadProbe::Run DownloadProbe::probe(Source& source) {
    if (source.auth && source.url.scheme() == "sftp")
        return probeWithKeys(source);
    Run probed = runScout(source, std::nullopt);
    const auto isRefused = [&probed](int status) {
        return probed.problem && probed.problem->is(ErrorDomain::CurlHttp, status);
    };
    if (m_referer && (isRefused(401) || isRefused(403)))
        return runScout(source, m_referer);
    return probed;
}

/// Tries one key after the other; `source` is left with the one that has opened, or with the last.
DownloadProbe::Run DownloadProbe::probeWithKeys(Source& source) {
    Run probed;
    for (const auto& attempt : source.auth->sshAttempts()) {
        probed = runScout({source.url, attempt}, std::nullopt);
        source.auth = attempt;
        if (!probed.scout->requiresAuthentication())
            break;
    }
    return probed;
}

/// What a server does not allow beside the transfers that are at work is asked for again when one of them has
/// made room.
DownloadProbe::Run DownloadProbe::runScout(const Source& source, const std::optional<Url>& referer) {
    const auto share = m_environment.hostConnections->join(source.url.origin());
    std::int64_t places = awaitPlaces(*share); // or perhaps be refused
    while (true) {
        Run run = runScoutOnce(source, referer, places);
        const Refusal refusal = run.problem ? run.scout->refusal() : Refusal::none;
        if (refusal != Refusal::said || share->othersAtWork() == 0)
            return run;
        share->noteRefusal(refusal, 0, Seconds(static_cast<double>(run.problem->retryAfter)));
        places = awaitPlaces(*share);
        if (places == 0)
            return run;
    }
}

/// 0 when there was none in time.
std::int64_t DownloadProbe::awaitPlaces(HostShare& share) {
    return share.awaitPlaces(ProbeRequests::kMostConnections, [this] {
        return !m_running.lock()->isStopped && m_environment.clock.now() < m_waitsUntil;
    });
}

DownloadProbe::Run DownloadProbe::runScoutOnce(const Source& source, const std::optional<Url>& referer,
                                               std::int64_t places) {
    const auto scout = ScoutFactory(m_environment).createScout(source.url, source.auth, referer, m_headers);
    {
        auto running = m_running.lock();
        running->scout = scout;
        if (running->isStopped)
            scout->requestStop();
    }
    auto problem = scout->runAndGetError(places);
    m_running.lock()->scout.reset();
    return {scout, std::move(problem)};
}

DownloadProbe::Source DownloadProbe::sourceAt(const Url& url) const {
    const auto known = m_tokens.find(serviceOf(url));
    return {url, known == m_tokens.end() ? nullptr : known->second};
}

Error DownloadProbe::authenticationError(const Url& asking, const Error& problem) {
    const std::string service = serviceOf(asking);
    if (service != serviceOf(m_url))
        m_authenticationUrl = asking;
    return {std::string(ErrorDomain::RemoteFile), kRemoteFileAuthenticationErrorCode, problem.description,
            localized("tr.err.authentication", {service})};
}

} // namespace tarvo
