#include "jobs/StreamTransfer.h"

#include "base/Log.h"
#include "jobs/AnswerJudge.h"
#include "jobs/JobErrors.h"

namespace tarvo {

std::shared_ptr<StreamTransfer> StreamTransfer::create(ProbeAnswers source, std::optional<Url> referer,
                                                       const JobEnvironment& environment, Take take) {
    return std::shared_ptr<StreamTransfer>(
        new StreamTransfer(std::move(source), std::move(referer), environment, std::move(take)));
}

StreamTransfer::StreamTransfer(ProbeAnswers source, std::optional<Url> referer,
                               const JobEnvironment& environment, Take take)
    : m_source(std::move(source)), m_referer(std::move(referer)), m_environment(environment),
      m_take(std::move(take)) {
}

Result<void> StreamTransfer::run() {
    m_owner.take();
    m_fault.reset();
    m_lastTaken = m_environment.clock.now();
    const auto connection = connect();
    const auto loop =
        std::make_shared<CurlMulti>(CurlMulti::Children{connection}, m_environment.transfers.connectionPools);
    loop->setDelegate(weak_from_this());
    {
        auto control = m_control.lock();
        control->loop = loop;
        if (control->isStopped)
            loop->requestStop();
    }
    loop->downloadAndBlock();
    const bool isStopped = [&] {
        auto control = m_control.lock();
        control->loop.reset();
        return control->isStopped;
    }();
    m_owner.giveUp();
    if (isStopped)
        return failure(Error::alreadyStopped());
    if (m_fault)
        return failure(*m_fault);
    if (auto problem = errorOf(*connection, m_source.contentLength))
        return failure(*problem);
    return m_source.contentLength > 0 && m_taken != m_source.contentLength ? failure(incomplete())
                                                                           : Result<void>();
}

std::shared_ptr<CurlDownloader> StreamTransfer::connect() {
    CurlRequest request{.url = m_source.url, .authToken = m_source.auth, .referer = m_referer};
    if (m_taken > 0) {
        request.lowerBound = m_taken;
        request.upperBound = m_source.contentLength;
        request.ifRange = m_validator.ifRange();
    }
    auto connection = CurlDownloader::create(
        std::make_unique<LiveCurlSegment>(std::move(request), m_environment.transfers));
    connection->setDelegate(weak_from_this());
    return connection;
}

/// A file server tells the time of the last change before it opens the file: what comes then may be newer.
bool StreamTransfer::canGoOn() const {
    return m_taken == 0 ||
           (m_source.supportsParts && m_taken < m_source.contentLength && !m_validator.ifRange().empty());
}

void StreamTransfer::requestStop() {
    auto control = m_control.lock();
    control->isStopped = true;
    if (control->loop)
        control->loop->requestStop();
}

std::optional<Error> StreamTransfer::judge(const CurlDownloader& downloader, std::size_t count,
                                           std::int64_t offset) const {
    const ExpectedFile expected{m_source.contentLength, m_validator};
    const auto verdict = judgeBlock(downloader, count, offset, expected);
    if (verdict == RangeVerdict::changed)
        return changedOnServer();
    if (verdict != RangeVerdict::accepted)
        return unexpectedSegmentSize();
    const bool isFirst = offset == downloader.segment().request().lowerBound;
    const bool isRest = isFirst && asksForRange(downloader);
    return isRest && compare(m_validator, downloader.validator()) != Sameness::same
               ? std::optional(changedOnServer())
               : std::nullopt;
}

std::int64_t StreamTransfer::downloaderHasData(CurlDownloader& downloader, std::span<const char> data,
                                               std::int64_t offset) {
    m_owner.assertIsHere();
    if (m_fault)
        return -1;
    const bool isWeb = downloader.isAnsweredByWeb();
    if (isWeb && downloader.segment().httpCode() >= 400)
        return 0; // what comes tells of the failure
    m_fault = judge(downloader, data.size(), offset);
    if (!m_fault && offset == 0)
        m_validator = downloader.validator();
    const std::int64_t largest = m_environment.transfers.traits.largestFile;
    const std::int64_t end = offset + static_cast<std::int64_t>(data.size());
    if (!m_fault && largest > 0 && end > largest)
        m_fault = tooLarge(end, largest);
    if (m_fault)
        return -1;
    if (const auto taken = m_take(data); !taken) {
        m_fault = taken.error();
        return -1;
    }
    m_taken = end;
    m_lastTaken = m_environment.clock.now(); // it may have waited for the reader
    return static_cast<std::int64_t>(data.size());
}

void StreamTransfer::loopHasTurned(CurlMulti& loop) {
    if (m_fault || m_environment.clock.now() - m_lastTaken < m_environment.stallTimeout)
        return;
    m_fault = Error::localized(ErrorDomain::Tarvo, kTarvoSchedulerTimeout, "tr.err.scheduler-timeout");
    loop.requestStop();
}

} // namespace tarvo
