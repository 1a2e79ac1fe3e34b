#include "jobs/SegmentedTransfer.h"

#include "base/FileName.h"
#include "base/Localized.h"
#include "base/Log.h"
#include "base/Readable.h"
#include "base/Settings.h"
#include "engine/transfer/LiveCurlSegment.h"
#include "jobs/JobErrors.h"

#include <algorithm>
#include <cerrno>

namespace tarvo {

std::shared_ptr<SegmentedTransfer> SegmentedTransfer::create(Parts parts, ReadyDownload ready) {
    return std::shared_ptr<SegmentedTransfer>(new SegmentedTransfer(std::move(parts), std::move(ready)));
}

SegmentedTransfer::SegmentedTransfer(Parts parts, ReadyDownload ready)
    : m_parts(std::move(parts)), m_source(std::move(ready.source)),
      m_finishing(m_parts.request, m_parts.intake, m_parts.environment),
      m_share(m_parts.environment.transfers.hostConnections->join(m_source.host)) {
    m_control.lock()->connections = std::move(ready.connections);
}

Result<FinishedFile> SegmentedTransfer::run(const AskName& askName) {
    m_owner.take();
    m_parts.intake->beginTransfer();
    auto finished = fetchAndFinish(askName);
    if (!finished) {
        const std::string dataFile = m_parts.intake->snapshot().path;
        RecordedRequest request = m_parts.request;
        request.wrongDigest = m_finishing.wrongDigest();
        ProgressSaver(*m_parts.intake, m_parts.environment, request, folderOf(dataFile))
            .saveBeforeFailing(finished.error());
    }
    m_parts.intake->endTransfer();
    m_owner.giveUp();
    return finished;
}

Result<FinishedFile> SegmentedTransfer::fetchAndFinish(const AskName& askName) {
    auto fetched = checkSpace();
    if (fetched)
        fetched = runLoops();
    setConnections({});
    m_share->leave();
    m_parts.intake->endBlocks();
    if (const auto part = std::exchange(m_lastPart, nullptr); fetched && part)
        fetched = confirmVersion(*part);
    if (!fetched)
        return failure(fetched.error());
    const auto name = askName();
    return name ? m_finishing.run(*name) : failure(Error::alreadyStopped());
}

Result<void> SegmentedTransfer::checkSpace() {
    const DataSnapshot data = m_parts.intake->snapshot();
    std::int64_t missing = 0;
    if (data.record && !data.record->data->isIndeterminateSize())
        missing = data.fileSize - data.record->data->totalBytesDownloaded();
    const auto free = m_parts.environment.disk.freeSpace(folderOf(data.path));
    if (!free || *free >= missing)
        return {};
    return failure(Error{std::string(ErrorDomain::RemoteFile), kRemoteFileWriteFailure,
                         localized("tr.err.no-space", {readableSize(missing), readableSize(*free)}),
                         localized("tr.err.disk-full-recovery")});
}

Result<void> SegmentedTransfer::runLoops() {
    while (true) {
        const std::int64_t before = m_parts.intake->totalDone();
        if (!awaitPlaces())
            return failure(m_parts.intake->refusal().value_or(Error::alreadyStopped()));
        const auto ran = runLoop();
        // The server serves other transfers instead: this one has its turn when one of theirs ends.
        const bool isCrowdedOut = !ran && m_wasCrowdedOut;
        if (!ran && !isCrowdedOut)
            return ran;
        const DataSnapshot data = m_parts.intake->snapshot();
        if (data.record->data->isIndeterminateSize() || data.record->data->isComplete())
            return ran;
        // Every connection has ended and something is still missing: fetch that, as long as it helps.
        const bool helped = m_parts.intake->totalDone() != before || isCrowdedOut;
        if (!helped || !fetchesParts(m_source, *data.record))
            return ran ? failure(incomplete()) : ran;
        setConnections(connectionsFor(m_source, *data.record, m_parts.environment));
        m_parts.announce();
    }
}

/// Takes as many places at the host as there are connections to begin with, and lets go of the connections
/// for which there is none: what they were to bring is a hole then. Waits for the first one; false when it
/// was stopped meanwhile.
bool SegmentedTransfer::awaitPlaces() {
    auto connections = m_control.lock()->connections;
    const std::int64_t planned = std::ssize(connections);
    m_starts.clear();
    for (const auto& connection : connections)
        m_starts.push_back(connection->currentOffset());
    std::sort(m_starts.begin(), m_starts.end());
    m_isWaiting = true;
    const std::int64_t free =
        m_share->awaitPlaces(planned, [&] { return planned > 0 && !m_control.lock()->isStopped; });
    m_isWaiting = false;
    if (free < planned) {
        connections.resize(static_cast<std::size_t>(free));
        setConnections(std::move(connections));
    }
    return free > 0 || planned == 0;
}

Result<void> SegmentedTransfer::runLoop() {
    const auto mediator = makeMediator();
    const auto loop = startLoop(mediator);
    loop->downloadAndBlock();
    m_control.lock()->loop.reset();
    m_wasCrowdedOut = mediator->wasCrowdedOut();
    if (auto part = mediator->lastPart())
        m_lastPart = std::move(part);
    const DataSnapshot data = m_parts.intake->snapshot();
    if (data.refusal)
        return failure(*data.refusal);
    // What others have brought in its stead is no failure of the one that was to bring it.
    const bool isWhole = data.record->data->isComplete();
    if (const auto problem = mediator->failure(); problem && !isWhole)
        return failure(*problem);
    return {};
}

std::shared_ptr<ConnectionMediator> SegmentedTransfer::makeMediator() {
    const JobEnvironment& environment = m_parts.environment;
    const DataSnapshot data = m_parts.intake->snapshot();
    const bool adapts =
        data.record && !data.record->data->isIndeterminateSize() && fetchesParts(m_source, *data.record);
    const ConnectionMediator::Limits limits{
        m_source.connections, Settings(environment.defaults).minimumChunkSize(), adapts, m_starts};
    return std::make_shared<ConnectionMediator>(*this, environment.clock, m_share, limits, data.fileSize);
}

/// The earlier ones, with their buffers, go on this thread, and not under the lock.
void SegmentedTransfer::setConnections(HandleCreator::Handles connections) {
    m_control.lock()->connections.swap(connections);
}

std::shared_ptr<CurlMulti> SegmentedTransfer::startLoop(const std::shared_ptr<ConnectionMediator>& mediator) {
    auto control = m_control.lock();
    for (const auto& connection : control->connections) {
        connection->setDelegate(weak_from_this());
        mediator->watch(connection);
    }
    auto loop =
        std::make_shared<CurlMulti>(control->connections, m_parts.environment.transfers.connectionPools);
    loop->setDelegate(mediator);
    control->loop = loop;
    // What was asked for before there was a loop to tell.
    if (control->isStopped)
        loop->requestStop();
    else if (control->isPaused)
        loop->requestPause();
    return loop;
}

/// A file server tells the time of the last change before it opens the file, and not after: a part may be of
/// a version that came in between. What it tells when all parts are there holds for all of them.
Result<void> SegmentedTransfer::confirmVersion(const CurlDownloader& part) {
    if (part.isAnsweredByWeb() || !asksForRange(part))
        return {};
    const TransferEnvironment& transfers = m_parts.environment.transfers;
    CurlRequest request = part.segment().request();
    request.headRequestOnly = true;
    request.timeoutMs = std::chrono::ceil<std::chrono::milliseconds>(transfers.probeTimeLimit).count();
    const auto check = CurlDownloader::create(std::make_unique<LiveCurlSegment>(request, transfers));
    const auto loop = std::make_shared<CurlMulti>(CurlMulti::Children{check}, transfers.connectionPools);
    {
        auto control = m_control.lock();
        control->check = loop;
        if (control->isStopped)
            loop->requestStop();
    }
    loop->downloadAndBlock();
    m_control.lock()->check.reset();
    const DataSnapshot data = m_parts.intake->snapshot();
    if (data.refusal)
        return failure(*data.refusal);
    if (const auto problem = check->segment().error())
        return failure(*problem);
    if (compare(data.record->validator, check->validator()) == Sameness::different)
        return failure(changedOnServer());
    return {};
}

std::int64_t SegmentedTransfer::downloaderHasData(CurlDownloader& downloader, std::span<const char> data,
                                                  std::int64_t offset) {
    m_owner.assertIsHere();
    const auto taken = m_parts.intake->take(downloader, data, offset);
    if (taken.consumed < 0)
        requestStop();
    else
        m_parts.speedometer.noteBytesReceived(taken.consumed - taken.known);
    if (taken.announces)
        m_parts.announce();
    return taken.consumed;
}

void SegmentedTransfer::downloaderHasParsedHeader(CurlDownloader& downloader, const std::string& key,
                                                  const std::string& value) {
    if (!announcesWrongLength(downloader, key, value))
        return;
    m_parts.intake->refuse(unexpectedSegmentSize());
    requestStop();
}

ByteRanges SegmentedTransfer::missing() {
    const DataSnapshot data = m_parts.intake->snapshot();
    return data.record ? data.record->data->readoutHoles() : ByteRanges();
}

std::shared_ptr<CurlDownloader> SegmentedTransfer::addConnection(const ByteRange& range) {
    m_owner.assertIsHere();
    const DataSnapshot data = m_parts.intake->snapshot();
    if (!data.record)
        return nullptr;
    auto connection = connectionFor(range, m_source, *data.record, m_parts.environment);
    connection->setDelegate(weak_from_this());
    auto control = m_control.lock();
    if (!control->loop || !control->loop->add(connection))
        return nullptr;
    control->connections.push_back(connection);
    return connection;
}

std::optional<ConnectionLimit> SegmentedTransfer::connectionLimit() const {
    return m_source.supportsParts ? m_share->limit(m_source.connections) : std::nullopt;
}

void SegmentedTransfer::addTo(SegmentsSnapshot& snapshot) {
    auto control = m_control.lock();
    for (const auto& connection : control->connections) {
        const CurlDownloadState state = connection->currentState();
        if (state == CurlDownloadState::Succeeded || state == CurlDownloadState::Failed)
            continue;
        const DownloaderPosition position = connection->position();
        snapshot.connections.push_back({position.from, position.current, position.end});
    }
}

void SegmentedTransfer::dropEnded() {
    m_owner.assertIsHere();
    const auto loop = m_control.lock()->loop;
    for (const auto& connection : loop->downloaders()) {
        if (connection->currentState() == CurlDownloadState::Succeeded)
            m_parts.environment.transfers.paces->note(m_source.url, *connection);
    }
    loop->dropEnded();
    setConnections(loop->downloaders());
}

void SegmentedTransfer::requestPause() {
    auto control = m_control.lock();
    control->isPaused = true;
    if (control->loop && !control->isStopped)
        control->loop->requestPause();
}

void SegmentedTransfer::requestResume() {
    auto control = m_control.lock();
    control->isPaused = false;
    if (control->loop && !control->isStopped)
        control->loop->requestResume();
}

void SegmentedTransfer::requestStop() {
    m_finishing.requestStop();
    auto control = m_control.lock();
    control->isStopped = true;
    if (control->loop)
        control->loop->requestStop();
    if (control->check)
        control->check->requestStop();
}

} // namespace tarvo
