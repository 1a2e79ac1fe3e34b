// The segmented job's transfer: the loops on the transfer thread, the data path, the finish.
#include "jobs/CURLRemoteFile.h"

#include "base/FileName.h"
#include "base/Localized.h"
#include "base/Log.h"
#include "base/Runloop.h"
#include "engine/transfer/LiveCurlDownloaderFactory.h"
#include "engine/transfer/RangeAnswer.h"
#include "jobs/FileFinalizer.h"

#include <cerrno>

namespace tarvo {

namespace {

constexpr Seconds kBetweenNotices{0.01};
constexpr int kLastVersion = 99;

Error unexpectedSegmentSize() {
    return Error::localized(ErrorDomain::Tarvo, kTarvoUnexpectedSegmentSize, "tr.err.unexpected-segment-size",
                            "tr.err.unexpected-segment-size-recovery");
}

Error incomplete() {
    return Error::localized(ErrorDomain::Tarvo, kTarvoGeneral, "tr.err.incomplete",
                            "tr.err.incomplete-recovery");
}

Error stopped() {
    return Error::localized(ErrorDomain::RemoteFile, kRemoteFileIllegalState, "tr.err.already-stopped");
}

bool isWeb(const CurlDownloader& downloader) {
    return downloader.segment().request().url.scheme().starts_with("http");
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
    m_intake.lock()->writeBehind = std::make_shared<WriteBehind>(environment().disk);
    auto ended = runLoops();
    m_intake.lock()->writeBehind.reset();
    if (!ended)
        saveProgress(); // what has arrived is good, and once the job has failed it could not be saved
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
    return asked ? finish(name) : failure(stopped());
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
        }
        // Every connection has ended and something is still missing: fetch that, as long as it helps.
        if (m_totalDone == before || !supportsMultipartDownloads())
            return failure(incomplete());
        createHandles();
    }
}

Result<void> CURLRemoteFile::runLoopOnce() {
    auto loop = m_running.lock()->loop; // the first one was made when the job was started
    if (!loop && !onMain([&] { loop = makeLoop(); }))
        return failure(stopped());
    loop->downloadAndBlock();
    m_running.lock()->loop.reset();
    if (const auto refusal = m_intake.lock()->refusal)
        return failure(*refusal);
    if (const auto problem = firstErrorOf(loop->downloaders()))
        return failure(*problem);
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
    std::optional<Url> referer;
    std::int64_t count = 0;
    onMain([&] {
        referer = m_referer;
        count = partitionCount();
    });
    auto handles = handlesFor(m_intake.lock()->record, referer, count);
    onMain([&] {
        m_easyHandles.swap(handles);
        Q_EMIT totalBytesDownloadedChanged();
    });
}

std::optional<Error> CURLRemoteFile::firstErrorOf(const HandleCreator::Handles& handles) {
    const std::int64_t wholeSize = m_intake.lock()->fileSize;
    for (const auto& handle : handles) {
        // The server's own refusal says more than the write error by which its text was turned away.
        if (isWeb(*handle) && handle->segment().httpCode() >= 400)
            return httpStatusError(handle->segment().httpCode());
        if (auto problem = handle->segment().error())
            return problem;
        if (isWeb(*handle) && !asksForRange(*handle) &&
            judgeWholeAnswer(headOf(*handle), wholeSize) != RangeVerdict::accepted)
            return unexpectedSegmentSize();
    }
    return std::nullopt;
}

RangeVerdict CURLRemoteFile::judge(const CurlDownloader& downloader, std::size_t count, std::int64_t offset,
                                   std::int64_t fileSize) const {
    const CurlRequest& request = downloader.segment().request();
    const std::int64_t end = asksForRange(downloader) ? request.upperBound : fileSize;
    if (end > 0 && static_cast<std::int64_t>(count) > end - offset)
        return RangeVerdict::unexpected;
    if (offset != request.lowerBound || !isWeb(downloader))
        return RangeVerdict::accepted; // judged with its first block
    if (!asksForRange(downloader))
        return judgeWholeAnswer(headOf(downloader), fileSize);
    return judgeRangeAnswer(headOf(downloader), ByteRange(request.lowerBound, request.upperBound), fileSize);
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
        const auto verdict = judge(downloader, data.size(), offset, intake->fileSize);
        if (verdict == RangeVerdict::httpError)
            return 0; // this connection's failure alone, told when the loop has ended
        fault = verdict == RangeVerdict::accepted ? writeBlock(*intake, data, offset)
                                                  : std::optional(unexpectedSegmentSize());
        if (fault)
            intake->refusal = fault;
        else
            announces = updateTotalBytesDownloaded(*intake);
    }
    if (fault) {
        failWithError(*fault);
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

std::optional<Error> CURLRemoteFile::writeBlock(Intake& intake, std::span<const char> data,
                                                std::int64_t offset) {
    const auto written =
        environment().disk.writeAt(intake.file.descriptor(), {data.data(), data.size()}, offset, intake.path);
    if (!written)
        return writeFailure(written.error());
    const auto count = static_cast<std::int64_t>(data.size());
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
    if (key != "content-length" || !isWeb(downloader) || !asksForRange(downloader) ||
        downloader.segment().httpCode() >= 400)
        return;
    const CurlRequest& request = downloader.segment().request();
    const std::int64_t expected = request.upperBound - request.lowerBound;
    const std::int64_t actual = parseLength(value).value_or(-1);
    if (actual == expected)
        return;
    Log::warning("Expected contentLength of {} but actual was {}", expected, actual);
    failWithError(unexpectedSegmentSize());
}

Result<void> CURLRemoteFile::finish(const std::string& name) {
    FileHandle file;
    std::string path;
    std::int64_t expectedLength = 0;
    {
        auto intake = m_intake.lock();
        file = intake->file.duplicate();
        path = intake->path;
        expectedLength = intake->record->totalBytesDownloaded();
    }
    if (!file || Disk::lengthOf(file.descriptor()) != expectedLength)
        return failure(incomplete());
    // Before the name says that the file is whole, the disk must hold it.
    if (const auto flushed = environment().disk.flush(file.descriptor(), path); !flushed)
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
    m_intake.lock()->file.close();
    m_finished = {*finished, expectedLength};
    return {};
}

Result<std::string> CURLRemoteFile::finalizeFile(const std::string& name) {
    std::string dataFile;
    {
        auto intake = m_intake.lock();
        dataFile = intake->path;
        environment().disk.setUsualPermissions(intake->file.descriptor());
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
        intake->refusal = state == rf_state_stopped ? stopped() : error().value_or(incomplete());
    // The lock on the bundle ends with the file: whoever comes next may have it.
    intake->file.close();
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
}

} // namespace tarvo
