#include "engine/transfer/ProbeRequests.h"

#include "base/Log.h"
#include "engine/transfer/RangeAnswer.h"

#include <algorithm>

#include <curl/curl.h>

namespace tarvo {

namespace {

/// So long one of two requests may take beyond the other before it is asked again, alone.
constexpr Seconds kPatience{2.0};

/// What a request has come to: nothing, an answer about the moment, or one about the file.
enum class Outcome { failed, busy, refused, good };

Outcome outcomeOf(const CurlDownloader& download) {
    const CurlSegment& segment = download.segment();
    const std::int64_t status = segment.httpCode();
    const bool hasFailed = segment.errorCode() != CURLE_OK && segment.errorCode() != CURLE_WRITE_ERROR;
    if (hasFailed || status == 0)
        return Outcome::failed;
    // RFC 9110, sections 15.5.9, 15.5.20 and 15.6; RFC 6585, section 4
    if (status == 408 || status == 421 || status == 429 || status >= 500)
        return Outcome::busy;
    // There is no such byte: that is as good an answer (RFC 9110, section 15.5.17).
    return status >= 400 && status != 416 ? Outcome::refused : Outcome::good;
}

/// Whether one of two requests may have been denied for the sake of the other, which was answered.
bool mayBeForTheOther(Outcome denied, Outcome other) {
    const bool isAnswered = other == Outcome::refused || other == Outcome::good;
    return isAnswered && denied != Outcome::good && denied != other;
}

} // namespace

bool isLoginDenied(const CurlDownloader& download) {
    return download.segment().errorCode() == CURLE_LOGIN_DENIED;
}

std::shared_ptr<ProbeRequests> ProbeRequests::create(const CurlRequest& request,
                                                     const TransferEnvironment& environment) {
    std::shared_ptr<ProbeRequests> requests(new ProbeRequests(request, environment));
    requests->m_head = requests->makeHead();
    requests->m_body = requests->makeBody();
    return requests;
}

std::shared_ptr<CurlDownloader> ProbeRequests::download(const CurlRequest& request) {
    auto made = CurlDownloader::create(std::make_unique<LiveCurlSegment>(request, m_environment));
    made->setDelegate(weak_from_this());
    return made;
}

std::shared_ptr<CurlDownloader> ProbeRequests::makeHead() {
    CurlRequest request = m_request;
    request.headRequestOnly = true;
    return download(request);
}

std::shared_ptr<CurlDownloader> ProbeRequests::makeBody() {
    CurlRequest request = m_request;
    request.lowerBound = 1;
    request.upperBound = 2;
    m_bodyBytes = 0;
    return download(request);
}

void ProbeRequests::run(std::int64_t connections) {
    if (m_request.url.scheme().starts_with("http"))
        return connections < kMostConnections ? runBodyFirst() : runTogether();
    runLoop({m_head});
    if (!isLoginDenied(*m_head)) // a second refusal would teach nothing
        runLoop({m_body});
}

void ProbeRequests::runTogether() {
    m_begun = m_environment.clock.now();
    runLoop({m_head, m_body});
    if (m_running.lock()->isStopped)
        return;
    const Outcome head = outcomeOf(*m_head);
    const Outcome body = outcomeOf(*m_body);
    if (mayBeForTheOther(body, head)) {
        m_body = makeBody();
        runLoop({m_body});
    } else if (mayBeForTheOther(head, body) && headIsNeeded()) {
        m_head = makeHead();
        runLoop({m_head});
    }
}

void ProbeRequests::runBodyFirst() {
    runLoop({m_body});
    if (outcomeOf(*m_body) == Outcome::good && headIsNeeded())
        runLoop({m_head});
}

void ProbeRequests::runLoop(const CurlMulti::Children& downloads) {
    const auto loop = std::make_shared<CurlMulti>(downloads, m_environment.connectionPools);
    loop->setDelegate(weak_from_this());
    {
        auto running = m_running.lock();
        running->loop = loop;
        if (running->isStopped)
            loop->requestStop();
    }
    loop->downloadAndBlock();
    m_running.lock()->loop.reset();
}

void ProbeRequests::requestStop() {
    auto running = m_running.lock();
    running->isStopped = true;
    if (running->loop)
        running->loop->requestStop();
}

/// Not where the other answer tells the size.
bool ProbeRequests::headIsNeeded() const {
    return !ContentRange::parse(m_body->header("content-range").value_or(""));
}

void ProbeRequests::childHasEnded(CurlMulti&, CurlDownloader&) {
    if (!m_firstHasEnded)
        m_firstHasEnded = m_environment.clock.now();
}

/// A server that serves one connection after the other lets the second one wait for as long as the first one
/// is open, though nothing more is asked for over it.
void ProbeRequests::loopHasTurned(CurlMulti& loop) {
    if (!m_firstHasEnded)
        return;
    const auto downloads = loop.downloaders();
    if (downloads.size() < 2)
        return;
    const Seconds took = *m_firstHasEnded - m_begun;
    if (m_environment.clock.now() - *m_firstHasEnded < std::max(kPatience, 4 * took))
        return;
    for (const auto& each : downloads)
        each->requestStop(); // of no effect on the one that has ended
}

std::int64_t ProbeRequests::downloaderHasData(CurlDownloader& downloader, std::span<const char> data,
                                              std::int64_t) {
    const auto count = static_cast<std::int64_t>(data.size());
    if (&downloader == m_head.get()) {
        Log::assertThat(false, "Should not receive data from a HEAD request");
    } else if (Log::assertThat(&downloader == m_body.get(), "Unexpected download passed")) {
        m_bodyBytes += count;
        if (m_bodyBytes == 1 && oneByteIsAll())
            return count; // the request ends by itself, and its connection can be used again
    }
    return -1; // enough has been seen
}

/// Whether the server, if it keeps its word, sends the one byte that was asked for and no more.
bool ProbeRequests::oneByteIsAll() const {
    const CurlSegment& segment = m_body->segment();
    if (m_body->isAnsweredByWeb())
        return segment.httpCode() == 206;
    return segment.protocol() == "sftp"; // FTP can't end a transfer and keep its connection
}

} // namespace tarvo
