// The segmented job's transfer: the loops on the transfer thread, the data path, the finish.
#include "jobs/CURLRemoteFile.h"

#include "base/FileName.h"
#include "base/Localized.h"
#include "base/Log.h"
#include "base/Runloop.h"
#include "engine/transfer/RangeAnswer.h"
#include "jobs/FileFinalizer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <QLocale>

namespace tarvo {

namespace {

constexpr Seconds kBetweenNotices{0.01};
constexpr int kLastVersion = 99;

std::string readable(std::int64_t bytes) {
    return QLocale::c().formattedDataSize(bytes, 1).toStdString();
}

Error unexpectedSegmentSize() {
    return Error::localized(ErrorDomain::Tarvo, kTarvoUnexpectedSegmentSize, "tr.err.unexpected-segment-size",
                            "tr.err.unexpected-segment-size-recovery");
}

Error incomplete() {
    return Error::localized(ErrorDomain::Tarvo, kTarvoGeneral, "tr.err.incomplete",
                            "tr.err.incomplete-recovery");
}

Error dataFileShrank(const std::string& path) {
    return {std::string(ErrorDomain::RemoteFile), kRemoteFileWriteFailure,
            localized("tr.err.data-file-shrank", {path}), localized("tr.err.data-file-shrank-recovery")};
}

ResponseHead headOf(const CurlDownloader& downloader) {
    return {downloader.segment().httpCode(), downloader.header("content-range"),
            downloader.header("content-length")};
}

bool asksForRange(const CurlDownloader& downloader) {
    return downloader.segment().request().upperBound != 0;
}

} // namespace

Result<void> CURLRemoteFile::doDownload() {
    m_intake.lock()->isTransferring = true;
    auto ended = checkSpace();
    if (ended)
        ended = transferAndFinish();
    if (!ended)
        saveBeforeFailing(ended.error());
    auto intake = m_intake.lock();
    intake->isTransferring = false;
    intake->file.reset(); // and with it the lock on the bundle
    return ended;
}

Result<void> CURLRemoteFile::checkSpace() {
    std::int64_t missing = 0;
    std::string path;
    {
        auto intake = m_intake.lock();
        if (intake->record && !intake->record->isIndeterminateSize())
            missing = intake->fileSize - intake->record->totalBytesDownloaded();
        path = intake->path;
    }
    const auto free = environment().disk.freeSpace(folderOf(path));
    if (!free || *free >= missing)
        return {};
    return failure(Error{std::string(ErrorDomain::RemoteFile), kRemoteFileWriteFailure,
                         localized("tr.err.no-space", {readable(missing), readable(*free)}),
                         localized("tr.err.disk-full-recovery")});
}

Result<void> CURLRemoteFile::transferAndFinish() {
    m_intake.lock()->writeBehind = std::make_shared<WriteBehind>(environment().disk);
    auto ended = runLoops();
    m_intake.lock()->writeBehind.reset();
    if (const auto part = std::exchange(m_lastPart, nullptr); ended && part)
        ended = confirmVersion(*part);
    HandleCreator::Handles done; // they go on this thread, and with them their buffers
    std::string name;
    const bool asked = onMain([&] {
        done.swap(m_easyHandles);
        name = fileName();
        if (ended)
            speedometer()
                .stopRecording(); // nothing arrives any more: a slow disk's flush is no stalled server
    });
    if (!ended)
        return ended;
    return asked ? finish(name) : failure(Error::alreadyStopped());
}

void CURLRemoteFile::didDownload() {
    setOverridenFileName(nameOf(m_finished.file));
    m_finalFileBookmark = m_finished.file;
    m_bundleBookmark.reset();
    if (fileSize() < 1)
        setFileSize(m_finished.length);
}

Result<void> CURLRemoteFile::runLoops() {
    while (true) {
        const std::int64_t before = m_totalDone;
        if (auto ran = runLoopOnce(); !ran)
            return ran;
        {
            auto intake = m_intake.lock();
            if (intake->refusal)
                return failure(*intake->refusal);
            if (intake->record->isIndeterminateSize() || intake->record->isComplete())
                return {};
            // Every connection has ended and something is still missing: fetch that, as long as it helps.
            if (m_totalDone == before || !fetchesParts(*intake))
                return failure(incomplete());
        }
        createHandles();
    }
}

Result<void> CURLRemoteFile::runLoopOnce() {
    auto loop = m_running.lock()->loop; // the first one was made when the job was started
    if (!loop && !onMain([&] { loop = makeLoop(); }))
        return failure(Error::alreadyStopped());
    loop->downloadAndBlock();
    m_running.lock()->loop.reset();
    if (!loop->downloaders().empty())
        m_lastPart = loop->downloaders().back();
    if (const auto refusal = m_intake.lock()->refusal)
        return failure(*refusal);
    if (const auto problem = firstErrorOf(loop->downloaders()))
        return failure(*problem);
    return {};
}

/// A file server tells the time of the last change before it opens the file, and not after: a part may be of
/// a version that came in between. What it tells when all parts are there holds for all of them.
Result<void> CURLRemoteFile::confirmVersion(const CurlDownloader& part) {
    if (part.isAnsweredByWeb() || !asksForRange(part))
        return {};
    const TransferEnvironment& transfers = environment().transfers;
    CurlRequest request = part.segment().request();
    request.headRequestOnly = true;
    request.timeoutMs = std::chrono::ceil<std::chrono::milliseconds>(transfers.probeTimeLimit).count();
    const auto check = CurlDownloader::create(std::make_unique<LiveCurlSegment>(request, transfers));
    const auto loop = std::make_shared<CurlMulti>(CurlMulti::Children{check}, transfers.connectionPools);
    m_running.lock()->check = loop;
    if (m_intake.lock()->refusal) // stopped before there was a check to stop
        loop->requestStop();
    loop->downloadAndBlock();
    m_running.lock()->check.reset();
    auto intake = m_intake.lock();
    if (intake->refusal)
        return failure(*intake->refusal);
    if (const auto problem = check->segment().error())
        return failure(*problem);
    if (compare(intake->validator, check->validator()) == Sameness::different)
        return failure(changedOnServer());
    return {};
}

std::shared_ptr<CurlMulti> CURLRemoteFile::makeLoop() {
    auto loop = std::make_shared<CurlMulti>(m_easyHandles, environment().transfers.connectionPools);
    m_running.lock()->loop = loop;
    // What was asked for before there was a loop to tell.
    if (currentState() == rf_state_paused)
        loop->requestPause();
    else if (currentState() != rf_state_running)
        loop->requestStop();
    return loop;
}

void CURLRemoteFile::createHandles() {
    Source source;
    std::optional<Url> referer;
    std::int64_t count = 0;
    onMain([&] {
        source = m_source;
        referer = m_referer;
        count = partitionCount();
    });
    const auto record = m_intake.lock()->record;
    auto handles = handlesFor(record, source, referer, count);
    onMain([&] {
        m_easyHandles.swap(handles);
        Q_EMIT totalBytesDownloadedChanged();
    });
}

std::optional<Error> CURLRemoteFile::firstErrorOf(const HandleCreator::Handles& handles) {
    const std::int64_t wholeSize = m_intake.lock()->fileSize;
    for (const auto& handle : handles) {
        // The server's own refusal says more than the write error by which its text was turned away.
        if (handle->isAnsweredByWeb() && handle->segment().httpCode() >= 400)
            return httpStatusError(handle->segment().httpCode());
        if (auto problem = handle->segment().error())
            return problem;
        if (handle->isAnsweredByWeb() && !asksForRange(*handle) &&
            judgeWholeAnswer(headOf(*handle), wholeSize) != RangeVerdict::accepted)
            return unexpectedSegmentSize();
    }
    return std::nullopt;
}

RangeVerdict CURLRemoteFile::judge(const Intake& intake, const CurlDownloader& downloader, std::size_t count,
                                   std::int64_t offset) {
    const CurlRequest& request = downloader.segment().request();
    const std::int64_t end = asksForRange(downloader) ? request.upperBound : intake.fileSize;
    const auto verdict =
        offset == request.lowerBound ? judgeHead(intake, downloader) : RangeVerdict::accepted;
    const bool isTooLong = end > 0 && static_cast<std::int64_t>(count) > end - offset;
    return verdict == RangeVerdict::accepted && isTooLong ? RangeVerdict::unexpected : verdict;
}

/// With the first block of an answer.
RangeVerdict CURLRemoteFile::judgeHead(const Intake& intake, const CurlDownloader& downloader) {
    const CurlRequest& request = downloader.segment().request();
    const bool isWeb = downloader.isAnsweredByWeb();
    if (isWeb && downloader.segment().httpCode() >= 400)
        return RangeVerdict::httpError;
    if (!asksForRange(downloader)) // one answer is of one version
        return isWeb ? judgeWholeAnswer(headOf(downloader), intake.fileSize) : RangeVerdict::accepted;
    // First of all, for another version is sent whole (If-Range), and may be of another size.
    if (compare(intake.validator, downloader.validator()) == Sameness::different)
        return RangeVerdict::changed;
    const ByteRange asked(request.lowerBound, request.upperBound);
    return isWeb ? judgeRangeAnswer(headOf(downloader), asked, intake.fileSize) : RangeVerdict::accepted;
}

std::int64_t CURLRemoteFile::downloaderHasData(CurlDownloader& downloader, std::span<const char> data,
                                               std::int64_t offset) {
    std::optional<Error> fault;
    bool announces = false;
    {
        auto intake = m_intake.lock();
        if (intake->refusal) {
            Log::warning("Refusing to write under error");
            return 0;
        }
        const auto verdict = judge(*intake, downloader, data.size(), offset);
        if (verdict == RangeVerdict::httpError)
            return 0; // this connection's failure alone, told when the loop has ended
        if (verdict == RangeVerdict::accepted && offset == 0 && !asksForRange(downloader))
            intake->validator = downloader.validator(); // what comes is of this answer alone
        if (verdict == RangeVerdict::accepted)
            fault = takeBlock(*intake, downloader.segment().request(), data, offset);
        else
            fault = verdict == RangeVerdict::changed ? changedOnServer() : unexpectedSegmentSize();
        if (fault)
            intake->refusal = fault;
        else
            announces = updateTotalBytesDownloaded(*intake);
    }
    if (fault) { // the job fails once the loop has ended and what is good has been saved
        stopTransfers();
        return -1;
    }
    if (announces) {
        Runloop::runOnMainLater([weak = std::weak_ptr(self())] {
            if (const auto job = weak.lock())
                Q_EMIT job->totalBytesDownloadedChanged();
        });
    }
    return static_cast<std::int64_t>(data.size());
}

std::optional<Error> CURLRemoteFile::takeBlock(Intake& intake, const CurlRequest& request,
                                               std::span<const char> data, std::int64_t offset) {
    if (Disk::lengthOf(intake.file->descriptor()) < intake.dataEnd)
        return dataFileShrank(intake.path);
    const auto size = static_cast<std::int64_t>(data.size());
    const std::int64_t known = std::clamp<std::int64_t>(request.compareBelow - offset, 0, size);
    if (known > 0) {
        if (auto problem = compareBlock(intake, data.first(static_cast<std::size_t>(known)), offset))
            return problem;
        if (offset + known == request.compareBelow)
            intake.unproven.erase(request.compareBelow);
    }
    if (known == size)
        return std::nullopt;
    return writeBlock(intake, data.subspan(static_cast<std::size_t>(known)), offset + known);
}

std::optional<Error> CURLRemoteFile::compareBlock(Intake& intake, std::span<const char> data,
                                                  std::int64_t offset) {
    const auto present = Disk::readAt(intake.file->descriptor(), offset, data.size(), intake.path);
    if (!present)
        return writeFailure(present.error());
    speedometer().noteBytesReceived(static_cast<std::int64_t>(data.size()));
    if (std::equal(present->begin(), present->end(), data.begin(), data.end()))
        return std::nullopt;
    return changedOnServer();
}

std::optional<Error> CURLRemoteFile::writeBlock(Intake& intake, std::span<const char> data,
                                                std::int64_t offset) {
    const auto written = environment().disk.writeAt(intake.file->descriptor(), {data.data(), data.size()},
                                                    offset, intake.path);
    if (!written)
        return writeFailure(written.error());
    const auto count = static_cast<std::int64_t>(data.size());
    intake.dataEnd = std::max(intake.dataEnd, offset + count);
    speedometer().noteBytesReceived(count);
    intake.record->recordBytesDownloaded(offset, count);
    m_totalDone = intake.record->totalBytesDownloaded();
    if (intake.writeBehind)
        intake.writeBehind->noteWritten(intake.file, count);
    return std::nullopt;
}

bool CURLRemoteFile::updateTotalBytesDownloaded(Intake& intake) const {
    const TimePoint now = environment().clock.now();
    if (intake.lastBytesDownloadedEvent && now - *intake.lastBytesDownloadedEvent <= kBetweenNotices)
        return false;
    intake.lastBytesDownloadedEvent = now;
    return true;
}

void CURLRemoteFile::downloaderHasParsedHeader(CurlDownloader& downloader, const std::string& key,
                                               const std::string& value) {
    // Of a range only: what is sent whole may be another version, and is judged with its first block.
    if (key != "content-length" || !downloader.isAnsweredByWeb() || !asksForRange(downloader) ||
        downloader.segment().httpCode() != 206)
        return;
    const CurlRequest& request = downloader.segment().request();
    const std::int64_t expected = request.upperBound - request.lowerBound;
    const std::int64_t actual = parseLength(value).value_or(-1);
    if (actual == expected)
        return;
    Log::warning("Expected contentLength of {} but actual was {}", expected, actual);
    {
        auto intake = m_intake.lock();
        if (!intake->refusal)
            intake->refusal = unexpectedSegmentSize();
    }
    stopTransfers();
}

Result<void> CURLRemoteFile::finish(const std::string& name) {
    std::shared_ptr<FileHandle> file;
    std::string path;
    std::int64_t expectedLength = 0;
    {
        auto intake = m_intake.lock();
        file = intake->file;
        path = intake->path;
        expectedLength = intake->record->totalBytesDownloaded();
    }
    if (!file)
        return failure(Error::alreadyStopped());
    if (Disk::lengthOf(file->descriptor()) != expectedLength)
        return failure(dataFileShrank(path));
    // Before the name says that the file is whole, the disk must hold it.
    if (const auto flushed = environment().disk.flush(file->descriptor(), path); !flushed)
        return failure(writeFailure(flushed.error()));
    const auto finished = environment().remoteFileSavingQueue.sync([&]() -> Result<std::string> {
        if (const auto refusal = m_intake.lock()->refusal)
            return failure(*refusal);
        return finalizeFile(name);
    });
    if (!finished)
        return failure(finished.error());
    // Outside the queue, for it takes the disk a while and there is no record to save any more. The bundle
    // goes only after that: with the name lost in a crash, it would still be complete.
    if (const auto flushed = environment().disk.flushFolder(folderOf(*finished)); !flushed)
        return failure(flushed.error());
    if (const auto removed = environment().disk.removeTree(folderOf(path)); !removed)
        Log::error("Could not remove bundle. Ignoring because it isnt essential: {}",
                   removed.error().description);
    setFinalFileExtendedAttributes(*finished);
    m_finished = {*finished, expectedLength};
    return {};
}

Result<std::string> CURLRemoteFile::finalizeFile(const std::string& name) {
    std::string dataFile;
    {
        auto intake = m_intake.lock();
        if (!intake->file)
            return failure(Error::alreadyStopped());
        dataFile = intake->path;
        environment().disk.setUsualPermissions(intake->file->descriptor());
    }
    const auto bundle = ProgressBundle::fromBundleDirectory(folderOf(dataFile));
    if (!bundle || !bundle->bundleExists()) {
        Log::error("Progress bundle could not be opened");
        return failure(Error::localized(ErrorDomain::Posix, ENOENT, "tr.err.no-open-progress-file"));
    }
    // A foreign file that has taken the name meanwhile stays; the download gets the next free one.
    for (int version = 1; version <= kLastVersion; ++version) {
        const ProgressBundle target(bundle->baseFolder(), renamedFileOrBareFile(name, version));
        const auto moved = environment().disk.renameNoReplace(dataFile, target.finalFile());
        if (!moved && moved.error().is(ErrorDomain::Posix, EEXIST))
            continue;
        if (!moved) {
            Log::error("Could not move item: {}", moved.error().description);
            return failure(moved.error());
        }
        m_finalized = true;
        return target.finalFile();
    }
    return failure(Error::localized(ErrorDomain::Tarvo, kTarvoGeneral, "tr.err.could-not-rename-file"));
}

void CURLRemoteFile::setFinalFileExtendedAttributes(const std::string& file) const {
    FileFinalizer(file).setWhereFrom(m_url->absoluteString());
}

void CURLRemoteFile::aboutToEnter(rf_state_t state) {
    if (state != rf_state_failed && state != rf_state_stopped)
        return;
    auto intake = m_intake.lock();
    if (!intake->refusal)
        intake->refusal =
            state == rf_state_stopped ? Error::alreadyStopped() : error().value_or(incomplete());
    // The lock on the bundle ends with the file: the next job may have it. A transfer that fails saves first.
    if (state == rf_state_stopped || !intake->isTransferring)
        intake->file.reset();
}

void CURLRemoteFile::onStart() {
    RemoteFileBase::onStart();
    makeLoop();
}

void CURLRemoteFile::onPause() {
    RemoteFileBase::onPause();
    if (const auto loop = m_running.lock()->loop)
        loop->requestPause();
}

void CURLRemoteFile::onResume() {
    RemoteFileBase::onResume();
    if (const auto loop = m_running.lock()->loop)
        loop->requestResume();
}

void CURLRemoteFile::onFail() {
    RemoteFileBase::onFail();
    stopTransfers();
}

void CURLRemoteFile::onStop() {
    RemoteFileBase::onStop();
    stopTransfers();
}

void CURLRemoteFile::stopTransfers() {
    auto running = m_running.lock();
    if (running->probe)
        running->probe->requestStop();
    if (running->loop)
        running->loop->requestStop();
    if (running->check)
        running->check->requestStop();
}

} // namespace tarvo
