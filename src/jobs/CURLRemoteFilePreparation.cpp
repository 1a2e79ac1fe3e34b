// The segmented job's preparation, on a worker: probe, name, bundle, record, connections.
#include "jobs/CURLRemoteFile.h"

#include "base/FileName.h"
#include "base/Localized.h"
#include "base/Log.h"
#include "base/Settings.h"
#include "jobs/AuthenticationManager.h"
#include "jobs/FileFinalizer.h"
#include "storage/ProgressFile.h"

#include <algorithm>
#include <cerrno>
#include <thread>

namespace tarvo {

namespace {

constexpr int kLastVersion = 99;
constexpr std::size_t kBundleSuffixBytes = 11; // ".trdownload"
constexpr int kMostServers = 10;               // that ask one after the other on the way to a file

Error remoteFileError(RemoteFileError code, std::string_view key, std::string_view recoveryKey = {}) {
    return Error::localized(ErrorDomain::RemoteFile, code, key, recoveryKey);
}

Error mismatch() {
    return remoteFileError(kRemoteFileProgressMismatch, "tr.err.progress-file-mismatch",
                           "tr.err.progress-file-recovery");
}

/// So much before a hole is fetched again, to see whether the server still has what lies before it.
constexpr std::int64_t kProof = 64 * 1024;

/// Where the proof of the bytes before `hole` begins: no earlier than the done range that ends there.
std::int64_t startOfProof(const ProgressData& record, std::int64_t hole) {
    for (const auto& done : record.readout()) {
        if (done->upperBound == hole)
            return std::max(done->lowerBound, hole - kProof);
    }
    return hole;
}

/// The text of `key`, followed by the system's own account of `cause`.
Error becauseOf(std::string_view key, const Error& cause) {
    return {cause.domain, cause.code, localized(key) + " " + cause.description, cause.recoverySuggestion};
}

Error inUse(const std::string& bundle) {
    return {std::string(ErrorDomain::Posix), EWOULDBLOCK, localized("tr.err.bundle-in-use", {bundle}),
            localized("tr.err.bundle-in-use-recovery")};
}

} // namespace

void CURLRemoteFile::aboutToMakeReady(const std::shared_ptr<const TRAuthToken>& auth) {
    if (auth)
        m_tokens[auth->service()] = auth;
    m_intake.lock()->refusal.reset();
    m_preparation = {};
    m_preparation.url = m_url;
    m_preparation.referer = m_referer;
    m_preparation.tokens = m_tokens;
    m_preparation.requestedPartitions = m_requestedPartitions;
    m_preparation.bookmark = m_bundleBookmark;
    m_preparation.device = m_device;
    m_preparation.recordOnDisk = m_recordOnDisk;
    m_preparation.ownsBundle = m_ownsBundle;
    m_preparation.recoveredSession = m_recoveredSession;
}

Result<void> CURLRemoteFile::doMakeReady(std::shared_ptr<const TRAuthToken>) {
    auto prepared = prepare();
    m_preparation.succeeded = prepared.has_value();
    const bool complete =
        !prepared && prepared.error().is(ErrorDomain::RemoteFile, kRemoteFileAlreadyComplete);
    if (!prepared && !complete) {
        onMain([&] {
            didMakeReady();
            failWithError(prepared.error());
        });
    }
    return prepared;
}

void CURLRemoteFile::didMakeReady() {
    Preparation found = std::move(m_preparation);
    m_preparation = {};
    m_bundleBookmark = found.bookmark;
    m_device = found.device;
    m_recordOnDisk = found.recordOnDisk;
    m_ownsBundle = found.ownsBundle;
    m_referer = found.referer;
    m_authenticationUrl = found.authenticationUrl;
    m_source = found.source;
    m_requestedPartitions = found.requestedPartitions;
    m_recoveredSession = found.recoveredSession;
    if (found.name)
        setOverridenFileName(*found.name);
    if (found.record)
        setRecord(found.record, found.fileSize);
    if (found.finalFile) {
        m_finalFileBookmark = found.finalFile;
        setFileSize(found.fileSize);
    }
    if (!found.succeeded)
        return;
    m_easyHandles.swap(found.handles);
    Q_EMIT totalBytesDownloadedChanged();
}

Result<void> CURLRemoteFile::prepare() {
    if (const auto refusal = m_intake.lock()->refusal) // stopped as soon as it began
        return failure(*refusal);
    if (!Log::assertThat(m_preparation.url.has_value()))
        return failure(remoteFileError(kRemoteFileIllegalState, "tr.err.illegal-state"));
    const auto known =
        m_preparation.bookmark ? ProgressBundle::fromBundleDirectory(*m_preparation.bookmark) : std::nullopt;
    if (known && known->isAway(m_preparation.device)) // making it anew would hide what comes back
        return failure(folderAway(*known));
    if (auto own = known ? known->checkIsOwn() : Result<void>(); !own)
        return own;
    if (m_preparation.bookmark && wasFinishedBefore())
        return failure(Error{std::string(ErrorDomain::RemoteFile), kRemoteFileAlreadyComplete, "", ""});

    const auto probe = tryScoutConnection(*m_preparation.url);
    if (!probe)
        return failure(probe.error());
    m_preparation.source = probe->source;
    const auto bundle = ensureBundle(*probe);
    if (!bundle)
        return failure(bundle.error());
    if (auto own = bundle->checkIsOwn(); !own)
        return own;
    // Nothing of the bundle is read before it is ours.
    if (auto taken = takeDataFile(*bundle); !taken)
        return taken;
    m_preparation.device = bundle->device();
    if (auto adopted = adoptOrStartRecord(*bundle, *probe); !adopted)
        return adopted;
    m_preparation.ownsBundle = true;
    m_preparation.handles = handlesFor(m_preparation.record, m_preparation.source, m_preparation.referer,
                                       m_preparation.requestedPartitions);
    const auto made = ensureBundleSubfiles(*bundle);
    if (!made && made.error().is(ErrorDomain::Posix, EEXIST)) {
        Log::assertThat(false, "the bundle's files exist already");
        return failure(Error{std::string(ErrorDomain::RemoteFile), kRemoteFileAlreadyComplete, "", ""});
    }
    m_preparation.recordOnDisk = made.has_value();
    return made;
}

/// A bundle without its data file beside a file of the recorded size: the program ended after the move to the
/// final name and before the bundle was removed. That is made good.
bool CURLRemoteFile::wasFinishedBefore() {
    const auto bundle = ProgressBundle::fromBundleDirectory(*m_preparation.bookmark);
    if (!bundle || bundle->tempFileExists() || !bundle->progressFileExists())
        return false;
    const auto saved = ProgressFile(bundle->progressFile(), environment().disk).readData();
    if (!saved || saved->url != m_preparation.url || saved->fileSize < 1 ||
        Disk::lengthOfFile(bundle->finalFile()) != saved->fileSize)
        return false;
    Log::warning("The download \"{}\" was finished before; only its bundle was left", bundle->finalFile());
    if (const auto removed = environment().disk.removeTree(bundle->bundleDirectory()); !removed)
        Log::error("Could not remove bundle. Ignoring because it isnt essential: {}",
                   removed.error().description);
    takeFinished(bundle->finalFile(), saved->fileSize);
    m_preparation.bookmark.reset();
    m_preparation.recordOnDisk = false;
    return true;
}

void CURLRemoteFile::takeFinished(const std::string& file, std::int64_t size) {
    m_preparation.fileSize = size;
    m_preparation.record = std::make_shared<ProgressData>(size);
    m_preparation.record->recordBytesDownloaded(0, size);
    m_preparation.finalFile = file;
}

/// A download of the saved queue, of which the program ended before it could note that it had finished.
bool CURLRemoteFile::isFinishedHere(const std::string& file, std::int64_t size) const {
    return m_preparation.recoveredSession && size > 0 && Disk::lengthOfFile(file) == size &&
           FileFinalizer(file).isFrom(m_preparation.url->absoluteString());
}

CURLRemoteFile::Source CURLRemoteFile::sourceAt(const Url& url) const {
    const auto known = m_preparation.tokens.find(AuthenticationManager::getServiceNameFromURL(url));
    return {url, known == m_preparation.tokens.end() ? nullptr : known->second};
}

CURLRemoteFile::Probe CURLRemoteFile::runScout(const Source& source, const std::optional<Url>& referer) {
    const auto scout = ScoutFactory(environment().transfers).createScout(*source.url, source.auth, referer);
    m_running.lock()->probe = scout;
    // Stopped between the state's last look and here: nobody else would tell the probe.
    if (m_intake.lock()->refusal)
        scout->requestStop();
    auto problem = scout->runAndGetError();
    m_running.lock()->probe.reset();
    return {scout, std::move(problem)};
}

/// Tries one key after the other; `source` is left with the one that has opened, or with the last.
CURLRemoteFile::Probe CURLRemoteFile::probeWithKeys(Source& source) {
    Probe probed;
    for (const auto& attempt : source.auth->sshAttempts()) {
        probed = runScout({source.url, attempt}, std::nullopt);
        source.auth = attempt;
        if (!probed.scout->requiresAuthentication())
            break;
    }
    return probed;
}

/// Without the referrer, but with it where that is refused: some servers serve their own pages' links only.
CURLRemoteFile::Probe CURLRemoteFile::probe(Source& source) {
    if (source.auth && source.url->scheme() == "sftp")
        return probeWithKeys(source);
    Probe probed = runScout(source, std::nullopt);
    const auto isRefused = [&probed](int status) {
        return probed.problem && probed.problem->is(ErrorDomain::CurlHttp, status);
    };
    if (m_preparation.referer && (isRefused(401) || isRefused(403)))
        return runScout(source, m_preparation.referer);
    return probed;
}

Error CURLRemoteFile::authenticationError(const Url& asking, const Error& problem) {
    const std::string service = AuthenticationManager::getServiceNameFromURL(asking);
    if (service != AuthenticationManager::getServiceNameFromURL(*m_preparation.url))
        m_preparation.authenticationUrl = asking;
    return {std::string(ErrorDomain::RemoteFile), kRemoteFileAuthenticationErrorCode, problem.description,
            localized("tr.err.authentication", {service})};
}

Result<CURLRemoteFile::ProbeAnswers> CURLRemoteFile::tryScoutConnection(const Url& url) {
    Source source = sourceAt(url);
    Probe probed = probe(source);
    for (int servers = 1; probed.problem && probed.scout->requiresAuthentication(); ++servers) {
        const Url asking = probed.scout->lastAsked().value_or(*source.url);
        const bool isAnother = AuthenticationManager::getServiceNameFromURL(asking) !=
                               AuthenticationManager::getServiceNameFromURL(*source.url);
        Source next = sourceAt(asking);
        if (!isAnother || !next.auth || servers == kMostServers)
            return failure(authenticationError(asking, *probed.problem));
        source = std::move(next);
        probed = probe(source);
    }
    if (probed.problem)
        return failure(*probed.problem);
    const auto& scout = probed.scout;
    if (scout->isHtmlPage())
        return failure(remoteFileError(HTMLPageErrorCode, "tr.err.html-file"));
    if (scout->isFtpDirectory())
        return failure(remoteFileError(kRemoteFileFtpDirectory, "tr.err.ftp-directory"));
    return ProbeAnswers{scout->supportsMultipartDownloads(), scout->contentLength(),
                        scout->suggestedFilename(), scout->validator(), source};
}

Result<ProgressBundle> CURLRemoteFile::ensureBundle(const ProbeAnswers& probe) {
    std::string name;
    std::string folder;
    onMain([&] {
        m_supportsMultipartDownloads = probe.supportsMultipartDownloads;
        setFileSize(probe.contentLength);
        setSuggestedFileName(probe.suggestedFileName);
        name = fileName();
        folder = m_basePath;
    });
    if (const auto refusal = m_intake.lock()->refusal)
        return failure(*refusal);
    // Somebody may have removed the bundle; then the download starts over under its name.
    if (m_preparation.bookmark && !Disk::exists(*m_preparation.bookmark)) {
        m_preparation.bookmark.reset();
        m_preparation.recordOnDisk = false;
    }
    if (!m_preparation.bookmark)
        return createBundle(name.empty() ? "UnknownName" : name, folder, probe.contentLength);
    if (const auto bundle = ProgressBundle::fromBundleBookmark(*m_preparation.bookmark))
        return *bundle;
    return failure(Error::posix(ENOENT, "open the bundle", *m_preparation.bookmark));
}

Result<ProgressBundle> CURLRemoteFile::createBundle(const std::string& wantedName, const std::string& folder,
                                                    std::int64_t size) {
    for (int version = 1; version <= kLastVersion; ++version) {
        const ProgressBundle bundle(folder, renamedFileOrBareFile(wantedName, version, kBundleSuffixBytes));
        if (isFinishedHere(bundle.finalFile(), size)) {
            takeFinished(bundle.finalFile(), size);
            return failure(Error{std::string(ErrorDomain::RemoteFile), kRemoteFileAlreadyComplete, "", ""});
        }
        if (bundle.finalFileExists())
            continue;
        const bool isNew = !Disk::exists(bundle.bundleDirectory());
        const auto made = environment().disk.makeFolders(bundle.bundleDirectory());
        if (!made)
            return failure(made.error());
        if (!Disk::isFolder(
                bundle.bundleDirectory())) // a file or a link has the name: no bundle, and not ours
            continue;
        m_preparation.ownsBundle = isNew;
        m_preparation.name = bundle.fileName();
        m_preparation.bookmark = bundle.bundleDirectory();
        return bundle;
    }
    return failure(Error::localized(ErrorDomain::Tarvo, kTarvoGeneral, "tr.err.could-not-rename-file"));
}

Result<void> CURLRemoteFile::takeDataFile(const ProgressBundle& bundle) {
    // A job that is just ending, here or in another process, gives its bundle up within moments.
    constexpr auto patience = std::chrono::milliseconds(200);
    constexpr auto pause = std::chrono::milliseconds(20);
    const std::string path = bundle.tempFile();
    for (auto waited = std::chrono::milliseconds(0);; waited += pause) {
        auto file = environment().disk.openOrCreate(path);
        if (!file)
            return failure(becauseOf("tr.err.no-create-data-file", file.error()));
        const auto locked = environment().disk.lockExclusively(file->descriptor(), path);
        // Whoever held it may have finished and taken the file away: then this is no longer the bundle's.
        if (locked && Disk::isStillAt(file->descriptor(), path)) {
            auto intake = m_intake.lock();
            if (intake->refusal)
                return failure(*intake->refusal);
            intake->file = std::make_shared<FileHandle>(std::move(*file));
            intake->path = path;
            return {};
        }
        if (!locked && !locked.error().is(ErrorDomain::Posix, EWOULDBLOCK))
            return locked;
        if (waited >= patience)
            return failure(inUse(bundle.bundleDirectory()));
        std::this_thread::sleep_for(pause);
    }
}

Result<void> CURLRemoteFile::adoptOrStartRecord(const ProgressBundle& bundle, const ProbeAnswers& probe) {
    auto adopted = adoptRecord(bundle, probe);
    if (!adopted)
        return failure(adopted.error());
    const auto record = adopted->record;
    auto intake = m_intake.lock();
    if (!intake->file) // given up meanwhile: the job was stopped
        return failure(Error::alreadyStopped());
    // Never believe in bytes that the data file does not hold.
    const std::int64_t length = Disk::lengthOf(intake->file->descriptor());
    record->forgetFrom(std::max<std::int64_t>(length, 0));
    const std::int64_t wanted = record->totalBytesDownloaded() == 0 ? 0 : probe.contentLength;
    if (length > wanted) {
        if (auto cut = environment().disk.truncate(intake->file->descriptor(), wanted, intake->path); !cut)
            return cut;
    }
    intake->dataEnd = std::min(length, wanted);
    intake->validator = probe.validator;
    intake->timesChanged = adopted->timesChanged;
    intake->unproven = std::move(adopted->unproven);
    m_preparation.record = record;
    m_preparation.fileSize = probe.contentLength;
    return {};
}

/// The bundle's record, if the download can go on with it, else a fresh one.
Result<CURLRemoteFile::Adopted> CURLRemoteFile::adoptRecord(const ProgressBundle& bundle,
                                                            const ProbeAnswers& probe) {
    Adopted adopted{.record = std::make_shared<ProgressData>(probe.contentLength)};
    if (!bundle.progressFileExists())
        return adopted;
    const auto saved = ProgressFile(bundle.progressFile(), environment().disk).readData();
    if (!saved || saved->url != m_preparation.url || saved->fileSize != probe.contentLength)
        return failure(mismatch());
    m_preparation.referer = saved->referer ? saved->referer : m_preparation.referer;
    m_preparation.requestedPartitions =
        std::clamp<std::int64_t>(saved->requestedConnections, 1, kMostConnections);
    m_preparation.recoveredSession = true;
    const bool isEmpty = saved->progressData->totalBytesDownloaded() == 0;
    if (isEmpty)
        adopted.timesChanged = saved->timesChanged;
    // A single stream can't be continued: it always starts over.
    if (isEmpty || !probe.supportsMultipartDownloads || saved->progressData->isIndeterminateSize())
        return adopted;
    const Sameness sameness = compare(saved->validator, probe.validator);
    if (sameness == Sameness::different) {
        const auto started = startOver(bundle, *saved);
        return failure(started ? changedOnServer() : started.error());
    }
    adopted.record = saved->progressData;
    if (sameness == Sameness::unknown) {
        for (const auto& hole : adopted.record->readoutHoles())
            adopted.unproven.insert(hole->lowerBound);
        adopted.unproven.erase(0); // nothing lies before it
    }
    return adopted;
}

/// Forgets what is there of another version; the next attempt begins with an empty data file.
Result<void> CURLRemoteFile::startOver(const ProgressBundle& bundle, const ProgressState& saved) {
    ProgressState fresh = saved;
    fresh.progressData = std::make_shared<ProgressData>(saved.fileSize);
    fresh.validator = {};
    fresh.timesChanged = saved.timesChanged + 1;
    m_preparation.record = fresh.progressData;
    m_preparation.fileSize = saved.fileSize;
    return environment().remoteFileSavingQueue.sync(
        [&] { return ProgressFile(bundle.progressFile(), environment().disk).writeData(fresh); });
}

/// Where every answer is of another version, of servers that take turns for instance, one answer has to do.
bool CURLRemoteFile::fetchesParts(const Intake& intake) const {
    constexpr std::int64_t mostChanges = 2;
    return m_supportsMultipartDownloads && intake.timesChanged < mostChanges;
}

HandleCreator::Handles CURLRemoteFile::handlesFor(const std::shared_ptr<const ProgressData>& record,
                                                  const Source& source, const std::optional<Url>& referer,
                                                  std::int64_t count) {
    const HandleCreator creator(record, *source.url, source.auth, referer, self(), environment().transfers);
    auto intake = m_intake.lock();
    auto handles = fetchesParts(*intake) ? creator.createHandles(count) : creator.createWholeHandle();
    for (const auto& handle : handles) {
        CurlRequest& request = handle->segment().request();
        request.ifRange = intake->validator.ifRange();
        if (intake->unproven.contains(request.lowerBound))
            handle->beginAt(startOfProof(*record, request.lowerBound));
    }
    return handles;
}

Result<void> CURLRemoteFile::ensureBundleSubfiles(const ProgressBundle& bundle) {
    // The data file is there since it was taken; the progress file comes into being whole, with its
    // first record, for an empty one could not be resumed.
    Save save{.state = ProgressState{*m_preparation.url, m_preparation.fileSize, m_preparation.record,
                                     m_preparation.referer, m_preparation.requestedPartitions},
              .bookmark = m_preparation.bookmark};
    {
        auto intake = m_intake.lock();
        save.file = intake->file;
        save.path = intake->path;
        save.state->validator = intake->validator;
        save.state->timesChanged = intake->timesChanged;
    }
    auto saved = flushData(save);
    if (saved)
        saved = writeRecord(save);
    if (saved || bundle.progressFileExists())
        return saved;
    return failure(becauseOf("tr.err.no-create-progress-file", saved.error()));
}

} // namespace tarvo
