// The segmented job as a thing on the main thread: making, copying, archiving, the values shown.
#include "jobs/CURLRemoteFile.h"

#include "base/FileName.h"
#include "base/Localized.h"
#include "base/Log.h"
#include "base/Settings.h"
#include "storage/BundleMove.h"
#include "storage/ProgressFile.h"

#include <algorithm>
#include <cerrno>

namespace tarvo {

namespace {

std::int64_t usableConnections(std::int64_t asked) {
    return std::clamp<std::int64_t>(asked, 1, kMostConnections);
}

/// Whether trying again may help, without the user.
bool canHeal(const Error& error) {
    return !isFinalRefusal(error) && !error.is(ErrorDomain::RemoteFile, kRemoteFileAuthenticationErrorCode) &&
           !error.is(ErrorDomain::RemoteFile, HTMLPageErrorCode) &&
           !error.is(ErrorDomain::RemoteFile, kRemoteFileFtpDirectory);
}

std::string nameFromUrl(const Url& url) {
    const std::string last = url.lastPathComponent();
    return last.empty() || last == "/" ? url.withoutCredentials().absoluteString() : last;
}

/// Takes the bundle's data file, so that nobody works on the bundle as long as the handle lives; an empty one
/// when the bundle has no data file.
Result<FileHandle> takeAtRest(const ProgressBundle& bundle, Disk& disk) {
    const std::string path = bundle.tempFile();
    if (!Disk::exists(path))
        return FileHandle();
    auto file = disk.openOrCreate(path);
    if (!file)
        return file;
    const auto locked = disk.lockExclusively(file->descriptor(), path);
    if (!locked && locked.error().is(ErrorDomain::Posix, EWOULDBLOCK))
        return failure(Error{std::string(ErrorDomain::Posix), EWOULDBLOCK,
                             localized("tr.err.bundle-in-use", {bundle.bundleDirectory()}),
                             localized("tr.err.bundle-in-use-recovery")});
    return locked ? std::move(file) : failure(locked.error());
}

} // namespace

CURLRemoteFile::CURLRemoteFile(const JobEnvironment& environment) : RemoteFileBase(environment) {
}

CURLRemoteFile::~CURLRemoteFile() = default;

std::shared_ptr<CURLRemoteFile> CURLRemoteFile::self() {
    return std::static_pointer_cast<CURLRemoteFile>(shared_from_this());
}

std::shared_ptr<CURLRemoteFile> CURLRemoteFile::create(const Url& url, std::int64_t partitions,
                                                       const std::string& directory,
                                                       const JobEnvironment& environment) {
    auto job = shared(new CURLRemoteFile(environment));
    job->m_url = url;
    job->m_requestedPartitions = usableConnections(partitions);
    job->m_basePath = directory;
    job->setSuggestedFileName(nameFromUrl(url));
    return job;
}

std::shared_ptr<CURLRemoteFile> CURLRemoteFile::fromLink(const DownloadLink& link,
                                                         const JobEnvironment& environment) {
    auto job = create(link.url, link.connections, link.folder, environment);
    job->m_recoveredSession = true;
    job->m_referer = link.referer;
    if (link.name)
        job->setOverridenFileName(*link.name);
    return job;
}

std::shared_ptr<CURLRemoteFile> CURLRemoteFile::fromBundleFile(const std::string& bundleDirectory,
                                                               const JobEnvironment& environment) {
    auto job = shared(new CURLRemoteFile(environment));
    job->m_recoveredSession = true;
    job->m_basePath = folderOf(bundleDirectory);
    const auto named = ProgressBundle::fromBundleDirectory(bundleDirectory);
    const auto bundle = named ? ProgressBundle::fromBundleBookmark(named->bundleDirectory()) : std::nullopt;
    if (!bundle) {
        job->failWithError(Error::posix(named ? ENOENT : EINVAL, "open the bundle", bundleDirectory));
        return job;
    }
    job->m_bundleBookmark = bundle->bundleDirectory();
    job->m_recordOnDisk = true;
    // The bundle's own name is the job's, whatever the server may suggest.
    job->setOverridenFileName(bundle->fileName());
    if (const auto own = bundle->checkIsOwn(); !own) {
        job->failWithError(own.error());
        return job;
    }
    if (!bundle->progressFileExists()) {
        job->failWithError(Error::localized(ErrorDomain::Posix, ENOENT, "tr.err.no-open-progress-file"));
        return job;
    }
    job->m_ownsBundle = true;
    const auto saved = ProgressFile(bundle->progressFile(), environment.disk).readData();
    if (!saved) {
        job->failWithError(saved.error());
        return job;
    }
    job->m_url = saved->url;
    job->m_referer = saved->referer;
    job->m_requestedPartitions = usableConnections(saved->requestedConnections);
    job->setFileSize(saved->fileSize);
    job->setRecord(saved->progressData, saved->fileSize); // its progress shows before it is ready
    return job;
}

std::shared_ptr<CURLRemoteFile> CURLRemoteFile::fromAbsentBundle(const ProgressBundle& bundle,
                                                                 const JobEnvironment& environment) {
    auto job = shared(new CURLRemoteFile(environment));
    job->m_recoveredSession = true;
    job->m_basePath = bundle.baseFolder();
    job->m_bundleBookmark = bundle.bundleDirectory();
    job->m_recordOnDisk = true; // on a disk that may come back
    job->setOverridenFileName(bundle.fileName());
    job->failWithError(folderAway(bundle));
    return job;
}

Error CURLRemoteFile::folderAway(const ProgressBundle& bundle) {
    return {std::string(ErrorDomain::RemoteFile), kRemoteFileFolderAway,
            localized("tr.err.folder-away", {bundle.baseFolder()}), localized("tr.err.folder-away-recovery")};
}

void CURLRemoteFile::recall(const Url& url, std::int64_t size) {
    if (m_url)
        return;
    m_url = url;
    setFileSize(size);
}

std::shared_ptr<RemoteFile> CURLRemoteFile::copy() const {
    if (!m_url && m_bundleBookmark) {
        const auto bundle = ProgressBundle::fromBundleDirectory(*m_bundleBookmark);
        return bundle && bundle->isAway() ? fromAbsentBundle(*bundle, environment())
                                          : fromBundleFile(*m_bundleBookmark, environment());
    }
    if (!Log::assertThat(m_url.has_value()))
        return nullptr;
    // A copy is made of what this job knows of itself, never of what its bundle says meanwhile: it must
    // not turn into another download. Preparation compares the two.
    auto job = create(*m_url, m_requestedPartitions, m_basePath, environment());
    job->m_referer = m_referer;
    job->m_bundleBookmark = m_bundleBookmark;
    job->m_device = m_device;
    job->m_recordOnDisk = m_recordOnDisk;
    job->m_ownsBundle = m_ownsBundle;
    job->m_recoveredSession = m_recoveredSession;
    if (overridenFileName())
        job->setOverridenFileName(*overridenFileName());
    if (awaitedBundle()) // which may go on being away
        job->setFileSize(fileSize());
    return job;
}

void CURLRemoteFile::encode(KeyedArchiver& archiver) const {
    if (Log::assertThat(m_bundleBookmark.has_value()))
        archiver.encodeData("bundleBookmark", *m_bundleBookmark);
}

std::shared_ptr<CURLRemoteFile> CURLRemoteFile::fromArchive(KeyedUnarchiver& unarchiver,
                                                            const JobEnvironment& environment) {
    const auto path = unarchiver.decodeString("bundlePath"); // as earlier versions archived a job
    const auto bookmark = path ? path : unarchiver.decodeData("bundleBookmark");
    const bool isPath = bookmark && bookmark->starts_with('/');
    if (path && isPath)
        return fromBundleFile(*path, environment);
    const auto bundle = isPath ? ProgressBundle::fromBundleDirectory(*bookmark) : std::nullopt;
    if (bundle && bundle->isAway())
        return fromAbsentBundle(*bundle, environment);
    if (!isPath || !ProgressBundle::fromBundleBookmark(*bookmark)) {
        Log::error("Could not load bookmark");
        return nullptr;
    }
    // All that is left when the program ends while a finished download's bundle is being removed.
    if (Disk::removeEmptyFolder(*bookmark)) {
        Log::warning("The bundle \"{}\" was empty and is removed", *bookmark);
        return nullptr;
    }
    return fromBundleFile(*bookmark, environment);
}

void CURLRemoteFile::setRecord(const std::shared_ptr<ProgressData>& record, std::int64_t size) {
    auto intake = m_intake.lock();
    intake->record = record;
    intake->fileSize = size;
    m_totalDone = record->totalBytesDownloaded();
}

double CURLRemoteFile::percentComplete() const {
    if (supportsMultipartDownloads())
        return RemoteFileBase::percentComplete();
    return currentState() == rf_state_succeeded ? 100.0 : -1.0;
}

std::int64_t CURLRemoteFile::partitionCount() const {
    return supportsMultipartDownloads() ? m_requestedPartitions : 1;
}

std::int64_t CURLRemoteFile::activeConnections() const {
    const bool active = currentState() == rf_state_running || currentState() == rf_state_paused;
    return active ? static_cast<std::int64_t>(m_easyHandles.size()) : partitionCount();
}

bool CURLRemoteFile::isRetryable() const {
    return !error() || canHeal(*error());
}

/// What a single stream has brought is worth more than a fresh start: the server may only be slow.
bool CURLRemoteFile::failsWhenStalled() const {
    return isRetryable() && (supportsMultipartDownloads() || totalBytesDownloaded() == 0);
}

std::optional<DownloadLink> CURLRemoteFile::link() const {
    if (!m_url)
        return std::nullopt;
    return DownloadLink{*m_url, m_basePath, m_requestedPartitions, m_referer, overridenFileName()};
}

std::optional<std::string> CURLRemoteFile::awaitedBundle() const {
    const auto& failed = error();
    const bool isAway = failed && failed->is(ErrorDomain::RemoteFile, kRemoteFileFolderAway);
    return isAway ? m_bundleBookmark : std::nullopt;
}

std::optional<std::string> CURLRemoteFile::activeFile() const {
    if (m_finalFileBookmark)
        return m_finalFileBookmark;
    if (m_bundleBookmark)
        return m_bundleBookmark;
    Log::error("No Active File");
    return std::nullopt;
}

std::string CURLRemoteFile::description() const {
    return fmt::format("<CURLRemoteFile: {} url='{}'>", static_cast<const void*>(this),
                       m_url ? m_url->withoutPassword() : "");
}

std::optional<Error> CURLRemoteFile::removeFiles() {
    // What was under way may still give the file its final name.
    waitForSteps();
    std::optional<std::string> finalFile;
    std::optional<ProgressBundle> bundle;
    std::optional<Url> url;
    onMain([&] {
        finalFile = m_finalFileBookmark;
        url = m_url;
        if (m_ownsBundle && m_bundleBookmark)
            bundle = ProgressBundle::fromBundleDirectory(*m_bundleBookmark);
    });
    std::optional<Error> problem;
    if (finalFile && Disk::exists(*finalFile)) {
        if (const auto removed = environment().disk.removeTree(*finalFile); !removed)
            problem = removed.error();
    }
    if (bundle && bundle->bundleExists()) {
        if (auto kept = removeBundle(*bundle, url))
            problem = std::move(kept);
    }
    return problem;
}

/// Answers why the bundle could not be removed. One that has become another download's is left without a
/// word.
std::optional<Error> CURLRemoteFile::removeBundle(const ProgressBundle& bundle,
                                                  const std::optional<Url>& url) {
    const bool isHeld = static_cast<bool>(m_intake.lock()->file);
    const auto taken = isHeld ? FileHandle() : takeAtRest(bundle, environment().disk);
    if (!taken)
        return taken.error();
    const auto record = ProgressFile(bundle.progressFile(), environment().disk).readData();
    if (record && record->url != url)
        return std::nullopt;
    const auto removed = environment().disk.removeTree(bundle.bundleDirectory());
    return removed ? std::nullopt : std::optional(removed.error());
}

Result<void> CURLRemoteFile::moveBundleTo(const std::string& folder) {
    if (!Log::assertThat(m_bundleBookmark && !folder.empty()))
        return failure(Error::posix(ENOENT, "move the download to", folder));
    if (folder == m_basePath)
        return {};
    if (currentState() == rf_state_preparing || currentState() == rf_state_running ||
        currentState() == rf_state_paused)
        return failure(
            Error::localized(ErrorDomain::RemoteFile, kRemoteFileIllegalState, "tr.err.illegal-state"));
    const auto source = ProgressBundle::fromBundleBookmark(*m_bundleBookmark);
    if (!source)
        return failure(Error::posix(ENOENT, "open the bundle", *m_bundleBookmark));
    const ProgressBundle target(folder, fileName());
    const bool isHeld = static_cast<bool>(m_intake.lock()->file);
    const auto taken = isHeld ? FileHandle() : takeAtRest(*source, environment().disk);
    if (!taken)
        return failure(taken.error());
    if (auto moved = moveBundle(*source, target, environment().disk); !moved)
        return moved;
    m_basePath = folder;
    m_bundleBookmark = target.bundleDirectory();
    if (auto held = isHeld ? takeMovedDataFile(target) : Result<void>(); !held)
        failWithError(held.error()); // moved it is, and the next preparation goes on with it
    return {};
}

/// The data file of a job that is ready, at its new place: after a copy it is another one.
Result<void> CURLRemoteFile::takeMovedDataFile(const ProgressBundle& bundle) {
    auto intake = m_intake.lock();
    intake->path = bundle.tempFile();
    if (Disk::isStillAt(intake->file->descriptor(), intake->path))
        return {};
    auto copy = takeAtRest(bundle, environment().disk);
    if (!copy)
        return failure(copy.error());
    intake->file = std::make_shared<FileHandle>(std::move(*copy));
    return {};
}

Result<void> CURLRemoteFile::saveProgress() {
    Log::info("Begin save all progress");
    const Save save = takeSave();
    if (save.isUnderFault)
        return failure(
            Error::localized(ErrorDomain::RemoteFile, kRemoteFileSaveWithFault, "tr.err.save-with-fault"));
    if (!save.state) {
        Log::warning("Refusing to save without progress data");
        return failure(
            Error::localized(ErrorDomain::RemoteFile, kRemoteFileIllegalState, "tr.err.illegal-state"));
    }
    if (!save.bookmark) {
        Log::warning("Refusing to save without bundle bookmark");
        return {};
    }
    if (auto flushed = flushData(save); !flushed) {
        failWithError(flushed.error());
        return flushed;
    }
    auto written = writeRecord(save);
    if (!written && !Disk::exists(*save.bookmark)) {
        Log::error("Unable to resolve bookmark to auto-save file. Failing File.");
        failWithError({std::string(ErrorDomain::Posix), EMFILE, written.error().description, ""});
    }
    return written;
}

CURLRemoteFile::Save CURLRemoteFile::takeSave() {
    Save save;
    onMain([&] {
        save.isUnderFault = error().has_value();
        save.bookmark = m_bundleBookmark;
        if (m_url)
            save.state = ProgressState{*m_url, fileSize(), nullptr, m_referer, m_requestedPartitions};
    });
    auto intake = m_intake.lock();
    save.isUnderFault = save.isUnderFault || intake->refusal;
    save.file = intake->file;
    save.path = intake->path;
    if (!intake->record)
        save.state.reset();
    if (save.state) {
        save.state->progressData = intake->record->copy();
        save.state->validator = intake->validator;
        save.state->timesChanged = intake->timesChanged;
    }
    return save;
}

/// The bytes come before the record that names them; and outside the saving queue, for it may take long.
Result<void> CURLRemoteFile::flushData(const Save& save) {
    if (!save.file || save.state->progressData->totalBytesDownloaded() == 0)
        return {};
    const auto flushed = environment().disk.flush(save.file->descriptor(), save.path);
    return flushed ? flushed : failure(writeFailure(flushed.error()));
}

Result<void> CURLRemoteFile::writeRecord(const Save& save) {
    return environment().remoteFileSavingQueue.sync([&]() -> Result<void> {
        if (m_finalized) // while the flush took its time
            return {};
        const auto bundle = ProgressBundle::fromBundleBookmark(*save.bookmark);
        if (!bundle)
            return failure(Error::posix(ENOENT, "open the bundle", *save.bookmark));
        return ProgressFile(bundle->progressFile(), environment().disk).writeData(*save.state);
    });
}

/// What has arrived is good, unless the file has changed on the server: then nothing of it is.
void CURLRemoteFile::saveBeforeFailing(const Error& cause) {
    Save save = takeSave();
    if (!save.state || !save.bookmark || !save.file)
        return; // given up already: the job was stopped
    if (cause.is(ErrorDomain::Tarvo, kTarvoChangedOnServer)) {
        save.state->progressData = std::make_shared<ProgressData>(save.state->fileSize);
        save.state->validator = {};
        save.state->timesChanged += 1;
        setRecord(save.state->progressData->copy(), save.state->fileSize);
    }
    save.state->progressData->forgetFrom(Disk::lengthOf(save.file->descriptor()));
    if (!flushData(save))
        return;
    const auto written = writeRecord(save);
    const bool isFull = !written && (written.error().is(ErrorDomain::Posix, ENOSPC) ||
                                     written.error().is(ErrorDomain::Posix, EDQUOT));
    if (isFull && makeRoomForRecord(save))
        writeRecord(save);
}

/// On a full disk the record of all bytes is worth more than the last of them.
bool CURLRemoteFile::makeRoomForRecord(Save& save) {
    constexpr std::int64_t room = 256 * 1024; // a hundred ranges and more
    const ByteRanges done = save.state->progressData->readout();
    if (done.empty())
        return false;
    const std::int64_t end = std::max(done.back()->lowerBound, done.back()->upperBound - room);
    save.state->progressData->forgetFrom(end);
    setRecord(save.state->progressData->copy(), save.state->fileSize);
    return environment().disk.truncate(save.file->descriptor(), end, save.path).has_value();
}

Error CURLRemoteFile::changedOnServer() {
    return Error::localized(ErrorDomain::Tarvo, kTarvoChangedOnServer, "tr.err.changed-on-server",
                            "tr.err.changed-on-server-recovery");
}

Error CURLRemoteFile::writeFailure(const Error& cause) {
    return {std::string(ErrorDomain::RemoteFile), kRemoteFileWriteFailure, cause.description,
            cause.recoverySuggestion};
}

} // namespace tarvo
