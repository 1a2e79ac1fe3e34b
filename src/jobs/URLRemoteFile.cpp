#include "jobs/URLRemoteFile.h"

#include "base/FileName.h"
#include "base/Localized.h"
#include "base/Log.h"
#include "base/Runloop.h"
#include "jobs/FileFinalizer.h"
#include "jobs/JobErrors.h"

#include <utility>

namespace tarvo {

namespace {

/// Gives a complete file its final name. On the saving queue: answers the path.
Result<std::string> finish(Disk& disk, const std::string& partFile, const std::string& folder,
                           const std::string& name, const Url& source) {
    auto finished = takeFreeName(name, 0, [&](const std::string& candidate) -> Result<std::string> {
        const std::string path = folder + "/" + candidate;
        auto moved = disk.renameNoReplace(partFile, path);
        return moved ? Result<std::string>(path) : failure(moved.error());
    });
    if (!finished)
        return finished;
    if (const auto flushed = disk.flushFolder(folder); !flushed)
        Log::warning("{}", flushed.error().sentence());
    FileFinalizer(*finished).setWhereFrom(source.absoluteString());
    return finished;
}

void remove(Disk& disk, const std::string& path) {
    if (const auto removed = disk.removeTree(path); !removed)
        Log::warning("{}", removed.error().sentence());
}

} // namespace

URLRemoteFile::URLRemoteFile(const Url& url, Url source, std::string folder,
                             const JobEnvironment& environment)
    : RemoteFileBase(environment), m_source(std::move(source)), m_folder(std::move(folder)) {
    m_url = url;
    setAddedDate(environment.clock.wallNow());
}

std::shared_ptr<URLRemoteFile> URLRemoteFile::create(Transfer transfer, const JobEnvironment& environment) {
    Runloop::assertMain();
    const Url source = transfer.sourceURL.value_or(transfer.url).withoutCredentials();
    auto job = shared(new URLRemoteFile(transfer.url, source, std::move(transfer.folder), environment));
    job->m_partFile = std::move(transfer.partFile);
    job->m_growingFile = std::move(transfer.growingFile);
    job->m_cancel = std::move(transfer.cancel);
    job->setFileSize(transfer.size);
    job->setSuggestedFileName(transfer.suggestedName.empty()
                                  ? localized("tr.url-download.default-name", {source.host()})
                                  : transfer.suggestedName);
    for (const auto state : {rf_state_preparing, rf_state_ready, rf_state_running})
        job->setCurrentState(state);
    return job;
}

void URLRemoteFile::noteBytesDownloaded(std::int64_t total, std::int64_t size) {
    Runloop::assertMain();
    if (currentState() != rf_state_running || total < m_totalBytesDownloaded)
        return;
    speedometer().noteBytesReceived(total - std::exchange(m_totalBytesDownloaded, total));
    if (size > 0 && size != fileSize())
        setFileSize(size);
    Q_EMIT totalBytesDownloadedChanged();
}

void URLRemoteFile::noteSucceeded() {
    Runloop::assertMain();
    m_cancel = nullptr;
    if (currentState() != rf_state_running)
        return;
    const std::string name = fileName().empty() ? "UnknownName" : fileName();
    environment().remoteFileSavingQueue.async(
        [job = std::static_pointer_cast<URLRemoteFile>(shared_from_this()), name, part = m_partFile] {
            const auto finished = finish(job->environment().disk, part, job->m_folder, name, job->m_source);
            Runloop::runOnMainLater([job, finished] { job->takeOver(finished); });
        });
}

void URLRemoteFile::takeOver(const Result<std::string>& finished) {
    if (!finished)
        return failWithError(finished.error());
    m_partFile.clear();
    m_finalFile = *finished;
    setOverridenFileName(nameOf(*finished));
    setFileSize(Disk::lengthOfFile(*finished));
    m_totalBytesDownloaded = fileSize();
    Q_EMIT totalBytesDownloadedChanged();
    setCurrentState(rf_state_succeeded);
}

void URLRemoteFile::noteFailedWithError(const Error& error) {
    Runloop::assertMain();
    m_cancel = nullptr;
    if (currentState() == rf_state_running)
        failWithError(error);
}

std::optional<std::string> URLRemoteFile::activeFile() const {
    if (m_finalFile || m_partFile.empty())
        return m_finalFile;
    return m_partFile;
}

Result<void> URLRemoteFile::moveBundleTo(const std::string&) {
    return failure(illegalState());
}

/// On a worker.
std::optional<Error> URLRemoteFile::removeFiles() {
    environment().remoteFileSavingQueue.sync([] {}); // it may just be given its final name
    std::optional<std::string> file;
    onMain([&] { file = m_finalFile; });
    const auto removed = file ? environment().disk.removeTree(*file) : Result<void>();
    return removed ? std::nullopt : std::optional(removed.error());
}

std::shared_ptr<RemoteFile> URLRemoteFile::copy() const {
    auto job = shared(new URLRemoteFile(m_source, m_source, m_folder, environment()));
    job->setSuggestedFileName(fileName());
    return job;
}

std::string URLRemoteFile::description() const {
    return fmt::format("<URLRemoteFile: {} url='{}'>", static_cast<const void*>(this),
                       m_url ? m_url->withoutPassword() : "");
}

void URLRemoteFile::encode(KeyedArchiver& archiver) const {
    archiver.encodeString("sourceURL", m_source.absoluteString());
}

RemoteFileBase::StepEnd URLRemoteFile::doMakeReady(std::shared_ptr<const TRAuthToken>) {
    return {failure(remoteFileError(HTMLPageErrorCode, "tr.err.html-file"))};
}

RemoteFileBase::StepEnd URLRemoteFile::doDownload() {
    return {failure(illegalState())}; // it is never ready
}

void URLRemoteFile::aboutToEnter(rf_state_t state) {
    if (state == rf_state_failed || state == rf_state_stopped)
        dropTransfer();
}

/// Ends the transfer, if it is not over, and removes what it has left.
void URLRemoteFile::dropTransfer() {
    if (const auto cancel = std::exchange(m_cancel, nullptr))
        cancel();
    if (m_partFile.empty())
        return;
    environment().remoteFileSavingQueue.async(
        [&disk = environment().disk, part = std::exchange(m_partFile, {}), growing = m_growingFile] {
            remove(disk, part);
            remove(disk, growing);
        });
}

} // namespace tarvo
