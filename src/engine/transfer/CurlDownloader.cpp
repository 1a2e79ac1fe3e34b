#include "engine/transfer/CurlDownloader.h"

#include "base/Log.h"
#include "base/Text.h"

#include <algorithm>
#include <cctype>

#include <curl/curl.h>

namespace tarvo {

namespace {

/// libcurl hands over 16 KiB at a time; written like that, a file costs the kernel a third more time than
/// in pieces of this size.
constexpr std::size_t kLargestPiece = 128 * 1024;

/// Whether a response of this status is only a step on the way to the file's: interim (RFC 9110,
/// section 15.2), a redirect (15.4), or a challenge that libcurl may answer by itself (15.5.2, 15.5.8).
bool isOnTheWay(std::int64_t status) {
    return (status >= 100 && status < 200) || (status >= 300 && status < 400) || status == 401 ||
           status == 407;
}

bool isOfValidator(std::string_view name) {
    return name == "etag" || name == "last-modified" || name == "date";
}

/// A header line as the log may have it. A cookie is as good as a password.
std::string loggable(std::string_view line) {
    return lowered(line.substr(0, 11)) == "set-cookie:" ? "Set-Cookie: ***"
                                                        : withoutPasswords(std::string(trimmed(line)));
}

bool isStatusLine(std::string_view line) {
    return line.starts_with("HTTP/");
}

} // namespace

CurlDownloader::CurlDownloader(std::unique_ptr<CurlSegment> segment)
    : m_segment(std::move(segment)), m_currentOffset(m_segment->request().lowerBound) {
}

std::shared_ptr<CurlDownloader> CurlDownloader::create(std::unique_ptr<CurlSegment> segment) {
    std::shared_ptr<CurlDownloader> downloader(new CurlDownloader(std::move(segment)));
    downloader->m_segment->setDelegate(downloader);
    return downloader;
}

std::optional<std::string> CurlDownloader::header(const std::string& name) const {
    m_owner.assertIsHere();
    const auto found = m_headers.find(name);
    return found == m_headers.end() ? std::nullopt : std::optional(found->second);
}

Validator CurlDownloader::validator() const {
    m_owner.assertIsHere();
    const auto url = m_segment->effectiveUrl();
    std::string origin = url ? url->origin() : std::string();
    if (!isAnsweredByWeb())
        return Validator::ofModificationTime(m_segment->modificationTime(), std::move(origin));
    const auto value = [this](const char* name) {
        const auto found = m_validatorHeaders.find(name);
        return found == m_validatorHeaders.end() ? std::string() : found->second;
    };
    return Validator::ofWebAnswer(value("etag"), value("last-modified"), value("date"), std::move(origin));
}

void CurlDownloader::beginAt(std::int64_t offset) {
    m_owner.assertIsHere();
    m_segment->request().compareBelow = currentOffset();
    m_segment->request().lowerBound = offset;
    m_currentOffset.store(offset, std::memory_order_relaxed);
}

bool CurlDownloader::isStopped() const {
    const auto state = currentState();
    return state == CurlDownloadState::Stopping || state == CurlDownloadState::Failed;
}

bool CurlDownloader::endAt(std::int64_t offset) {
    m_owner.assertIsHere();
    const bool isOver = isStopped() || currentState() == CurlDownloadState::Succeeded;
    const std::int64_t known = end() == 0 ? kNoEnd : end();
    if (isOver || offset < currentOffset() || offset > known)
        return false;
    if (offset < known)
        m_end = offset;
    return true;
}

double CurlDownloader::speed(TimePoint now) {
    m_owner.assertIsHere();
    return m_speed.speed(now, currentOffset() - m_segment->request().lowerBound);
}

void CurlDownloader::willStart() {
    m_owner.take();
    auto expected = CurlDownloadState::Init;
    m_state.compare_exchange_strong(expected, CurlDownloadState::Running);
}

void CurlDownloader::release() {
    m_held = false;
    if (std::exchange(m_heldBack, false) && !isPaused())
        m_segment->resume();
}

void CurlDownloader::didComplete() {
    if (m_refused && m_segment->errorCode() == CURLE_OK) // the last piece of all
        m_segment->setErrorCode(CURLE_WRITE_ERROR);
    m_state = m_segment->error() ? CurlDownloadState::Failed : CurlDownloadState::Succeeded;
    m_pending = {};
    m_owner.giveUp();
}

void CurlDownloader::requestPause() {
    request(CurlDownloadState::Pausing);
}

void CurlDownloader::requestResume() {
    request(CurlDownloadState::Resuming);
}

void CurlDownloader::requestStop() {
    request(CurlDownloadState::Stopping);
}

void CurlDownloader::request(CurlDownloadState wanted) {
    auto state = m_state.load();
    while (state != CurlDownloadState::Succeeded && state != CurlDownloadState::Failed &&
           !m_state.compare_exchange_weak(state, wanted)) {
    }
}

std::int64_t CurlDownloader::applyRequests() {
    m_owner.assertIsHere();
    // The exchange fails when a newer request has come meanwhile; that one is carried out next time.
    auto state = m_state.load();
    switch (state) {
    case CurlDownloadState::Stopping:
        m_state.compare_exchange_strong(state, CurlDownloadState::Failed);
        return -1;
    case CurlDownloadState::Failed:
        return -1;
    case CurlDownloadState::Resuming:
        if (m_state.compare_exchange_strong(state, CurlDownloadState::Running))
            m_segment->resume();
        return 0;
    case CurlDownloadState::Pausing:
        if (m_state.compare_exchange_strong(state, CurlDownloadState::Paused))
            m_segment->pause();
        return 0;
    default:
        return 0;
    }
}

void CurlDownloader::curlHasHeader(CurlSegment& layer, std::string_view line) {
    if (isStatusLine(line)) { // a new answer begins; an earlier one was on the way to it
        m_headers.clear();
        m_validatorHeaders.clear();
    }
    if (isOnTheWay(layer.httpCode())) {
        Log::debug("Redirect Header: {}", loggable(line));
        return;
    }
    const std::size_t colon = line.find(':');
    const std::string key(trimmed(lowered(line.substr(0, colon))));
    if (isOfValidator(key))
        m_validatorHeaders[key] = trimmed(line.substr(colon + 1));
    if (colon == std::string_view::npos || line.find(':', colon + 1) != std::string_view::npos) {
        Log::debug("Unparsable header: {}", loggable(line));
        return;
    }
    const std::string value(trimmed(line.substr(colon + 1)));
    m_headers[key] = value;
    Log::debug("Parsed header: \"{}\" = \"{}\"", key, key == "set-cookie" ? "***" : withoutPasswords(value));
    if (const auto delegate = m_delegate.lock())
        delegate->downloaderHasParsedHeader(*this, key, value);
}

std::int64_t CurlDownloader::curlHasData(CurlSegment&, std::span<const char> data) {
    // libcurl can't pause a handle that has no connection yet; its first block can.
    m_heldBack = m_held;
    if (m_held || isPaused() || isAtItsEnd())
        return kPauseTransfer;
    if (m_pending.size() + data.size() > kLargestPiece)
        deliverPending();
    if (m_refused)
        return 0;
    const auto count = static_cast<std::int64_t>(data.size());
    const std::int64_t offset = currentOffset();
    const std::int64_t wanted = std::min(count, m_end.load() - offset);
    // The first block decides whether the answer is the right one: it does not wait for more.
    const bool isFirst = offset == m_segment->request().lowerBound;
    m_currentOffset.store(offset + wanted, std::memory_order_relaxed);
    if (!isFirst) {
        m_pending.insert(m_pending.end(), data.begin(), data.begin() + wanted);
    } else if (const std::int64_t taken = deliver(data.first(wanted), offset); taken != wanted) {
        m_currentOffset.store(offset + std::max<std::int64_t>(taken, 0), std::memory_order_relaxed);
        m_refused = true; // libcurl forgets that of a block that was held back
        return taken;
    }
    return wanted == count ? count
                           : kPauseTransfer; // the loop ends it, before libcurl offers the block again
}

void CurlDownloader::deliverPending() {
    m_owner.assertIsHere();
    if (m_pending.empty())
        return;
    const auto count = static_cast<std::int64_t>(m_pending.size());
    m_refused = deliver(m_pending, currentOffset() - count) != count;
    m_pending.clear();
}

std::int64_t CurlDownloader::deliver(std::span<const char> data, std::int64_t offset) {
    const auto delegate = m_delegate.lock();
    if (!Log::assertThat(delegate != nullptr, "Delegate not bound"))
        return -1;
    return delegate->downloaderHasData(*this, data, offset);
}

std::int64_t CurlDownloader::curlHasProgress(CurlSegment&) {
    return applyRequests();
}

} // namespace tarvo
