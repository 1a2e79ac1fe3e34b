#include "jobs/RangeFetch.h"

#include "engine/transfer/LiveCurlSegment.h"
#include "jobs/JobErrors.h"

namespace tarvo {

namespace {

/// Keeps what a connection brings, if it is what was asked for.
class Collector final : public CurlDownloaderDelegate {
public:
    explicit Collector(const ExpectedFile& file) : m_file(file) {}

    std::int64_t downloaderHasData(CurlDownloader& downloader, std::span<const char> data,
                                   std::int64_t offset) override {
        m_verdict = judgeBlock(downloader, data.size(), offset, m_file);
        if (m_verdict != RangeVerdict::accepted)
            return -1;
        m_bytes.append(data.data(), data.size());
        return static_cast<std::int64_t>(data.size());
    }

    RangeVerdict verdict() const { return m_verdict; }

    std::string takeBytes() { return std::move(m_bytes); }

private:
    const ExpectedFile& m_file;
    RangeVerdict m_verdict = RangeVerdict::accepted;
    std::string m_bytes;
};

} // namespace

Result<std::string> RangeFetch::run(const RangeSource& source, const ExpectedFile& file,
                                    const ByteRange& range) {
    const auto limit = std::chrono::ceil<std::chrono::milliseconds>(m_environment.probeTimeLimit);
    CurlRequest request{.url = source.url,
                        .lowerBound = range.lowerBound,
                        .upperBound = range.upperBound,
                        .authToken = source.auth,
                        .referer = source.referer,
                        .headers = source.headers,
                        .ifRange = file.validator.ifRange(),
                        .timeoutMs = limit.count()};
    const auto download =
        CurlDownloader::create(std::make_unique<LiveCurlSegment>(std::move(request), m_environment));
    const auto collector = std::make_shared<Collector>(file);
    download->setDelegate(collector);
    const auto share = m_environment.hostConnections->join(source.url.origin());
    const TimePoint waitsUntil = m_environment.clock.now() + limit;
    // What has waited in vain may be refused.
    share->awaitPlaces(
        1, [&] { return !m_running.lock()->isStopped && m_environment.clock.now() < waitsUntil; });
    if (!runLoop(download))
        return failure(Error::alreadyStopped());
    if (collector->verdict() == RangeVerdict::changed)
        return failure(changedOnServer());
    if (collector->verdict() == RangeVerdict::unexpected)
        return failure(unexpectedSegmentSize());
    if (auto problem = errorOf(*download, file.size))
        return failure(std::move(*problem));
    std::string bytes = collector->takeBytes();
    if (static_cast<std::int64_t>(bytes.size()) != range.size())
        return failure(unexpectedSegmentSize());
    return bytes;
}

/// False when it was stopped.
bool RangeFetch::runLoop(const std::shared_ptr<CurlDownloader>& download) {
    const auto loop =
        std::make_shared<CurlMulti>(CurlMulti::Children{download}, m_environment.connectionPools);
    {
        auto running = m_running.lock();
        if (running->isStopped)
            return false;
        running->loop = loop;
    }
    loop->downloadAndBlock();
    auto running = m_running.lock();
    running->loop.reset();
    return !running->isStopped;
}

void RangeFetch::requestStop() {
    auto running = m_running.lock();
    running->isStopped = true;
    if (running->loop)
        running->loop->requestStop();
}

} // namespace tarvo
