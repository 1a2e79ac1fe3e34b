// The segmented job's preparation, on a worker: probe, name, bundle, record, connections.
#include "jobs/CURLRemoteFile.h"

#include "base/FileName.h"
#include "base/Localized.h"
#include "base/Log.h"
#include "engine/transfer/LiveCurlDownloaderFactory.h"
#include "storage/ProgressFile.h"

#include <algorithm>
#include <cerrno>
#include <thread>

namespace tarvo {

namespace {

constexpr int kLastVersion = 99;
constexpr std::size_t kBundleSuffixBytes = 11; // ".trdownload"

Error remoteFileError(RemoteFileError code, std::string_view key, std::string_view recoveryKey = {}) {
    return Error::localized(ErrorDomain::RemoteFile, code, key, recoveryKey);
}

Error mismatch() {
    return remoteFileError(kRemoteFileProgressMismatch, "tr.err.progress-file-mismatch",
                           "tr.err.progress-file-recovery");
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

Result<void> CURLRemoteFile::doMakeReady(std::shared_ptr<const TRAuthToken> auth) {
    auto prepared = prepare(auth);
    if (!prepared)
        failWithError(prepared.error());
    return prepared;
}

Result<void> CURLRemoteFile::prepare(const std::shared_ptr<const TRAuthToken>& auth) {
    std::optional<Url> url;
    rf_state_t state = rf_state_stopped;
    onMain([&] {
        m_authToken = auth;
        url = m_url;
        state = currentState();
        m_intake.lock()->refusal.reset();
    });
    if (state == rf_state_stopped)
        return failure(remoteFileError(kRemoteFileIllegalState, "tr.err.already-stopped"));
    if (!Log::assertThat(state == rf_state_preparing && url))
        return failure(remoteFileError(kRemoteFileIllegalState, "tr.err.illegal-state"));

    const auto probe = tryScoutConnection(*url, auth);
    if (!probe)
        return failure(probe.error());
    onMain([&] {
        m_supportsMultipartDownloads = probe->supportsMultipartDownloads;
        setFileSize(probe->contentLength);
        setSuggestedFileName(probe->suggestedFileName);
    });

    const auto bundle = ensureBundle();
    if (!bundle)
        return failure(bundle.error());
    // Nothing of the bundle is read before it is ours.
    if (auto taken = takeDataFile(*bundle); !taken)
        return taken;
    const auto record = adoptOrStartRecord(*bundle, *probe);
    if (!record)
        return failure(record.error());
    setRecord(*record, probe->contentLength);
    createHandles();
    if (const auto made = ensureBundleSubfiles(*bundle); !made) {
        if (!made.error().is(ErrorDomain::Posix, EEXIST))
            return made;
        Log::assertThat(false, "the bundle's files exist already");
        return failure(Error{std::string(ErrorDomain::RemoteFile), kRemoteFileAlreadyComplete, "", ""});
    }
    onMain([&] { m_didMakeReady = true; });
    return {};
}

Result<CURLRemoteFile::ProbeAnswers>
CURLRemoteFile::tryScoutConnection(const Url& url, const std::shared_ptr<const TRAuthToken>& auth) {
    const auto scout = ScoutFactory(environment().transfers).createScout(url, auth, std::nullopt);
    m_running.lock()->probe = scout;
    // Stopped between the state's last look and here: nobody else would tell the probe.
    if (m_intake.lock()->refusal)
        scout->requestStop();
    const auto problem = scout->runAndGetError();
    m_running.lock()->probe.reset();
    if (problem && scout->requiresAuthentication())
        return failure(Error{std::string(ErrorDomain::RemoteFile), kRemoteFileAuthenticationErrorCode,
                             problem->description, localized("tr.err.authentication")});
    if (problem)
        return failure(*problem);
    if (scout->isHtmlPage())
        return failure(remoteFileError(HTMLPageErrorCode, "tr.err.html-file"));
    if (scout->isFtpDirectory())
        return failure(remoteFileError(kRemoteFileFtpDirectory, "tr.err.ftp-directory"));
    return ProbeAnswers{scout->supportsMultipartDownloads(), scout->contentLength(),
                        scout->suggestedFilename()};
}

Result<ProgressBundle> CURLRemoteFile::ensureBundle() {
    std::optional<std::string> bookmark;
    std::string name;
    std::string folder;
    onMain([&] {
        // Somebody may have removed the bundle; then the download starts over under its name.
        if (m_bundleBookmark && !Disk::exists(*m_bundleBookmark))
            m_bundleBookmark.reset();
        bookmark = m_bundleBookmark;
        name = fileName();
        folder = m_basePath;
    });
    if (!bookmark) {
        const auto made = ensureBundleAndGetBookmark(name, folder);
        if (!made)
            return failure(made.error());
        bookmark = *made;
    }
    if (auto bundle = ProgressBundle::fromBundleBookmark(*bookmark))
        return *bundle;
    return failure(Error::posix(ENOENT, "open the bundle", *bookmark));
}

Result<std::string> CURLRemoteFile::ensureBundleAndGetBookmark(const std::string& wantedName,
                                                               const std::string& folder) {
    const std::string cleaned = cleanFileName(wantedName, ProgressBundle::kExtension);
    const std::string name = cleaned.empty() ? "UnknownName" : cleaned;
    for (int version = 1; version <= kLastVersion; ++version) {
        const std::string candidate = renamedFileOrBareFile(name, version, kBundleSuffixBytes);
        auto bookmark = createBundleAndGetBookmark(candidate, folder);
        if (!bookmark && bookmark.error().is(ErrorDomain::Posix, EEXIST))
            continue;
        if (!bookmark)
            return bookmark;
        onMain([&] {
            setOverridenFileName(candidate);
            m_bundleBookmark = *bookmark;
        });
        return bookmark;
    }
    return failure(Error::localized(ErrorDomain::Tarvo, kTarvoGeneral, "tr.err.could-not-rename-file"));
}

Result<std::string> CURLRemoteFile::createBundleAndGetBookmark(const std::string& name,
                                                               const std::string& folder) {
    const ProgressBundle bundle(folder, name);
    if (bundle.finalFileExists())
        return failure(Error::posix(EEXIST, "create", bundle.finalFile()));
    if (const auto made = environment().disk.makeFolders(bundle.bundleDirectory()); !made)
        return failure(made.error());
    return bundle.bundleDirectory();
}

Result<void> CURLRemoteFile::takeDataFile(const ProgressBundle& bundle) {
    // A job that is just ending, here or in another process, gives its bundle up within moments.
    constexpr auto patience = std::chrono::milliseconds(1000);
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
            intake->file = std::move(*file);
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

Result<std::shared_ptr<ProgressData>> CURLRemoteFile::adoptOrStartRecord(const ProgressBundle& bundle,
                                                                         const ProbeAnswers& probe) {
    std::optional<Url> url;
    onMain([&] { url = m_url; });
    auto fresh = std::make_shared<ProgressData>(probe.contentLength);
    auto record = fresh;
    if (bundle.progressFileExists()) {
        const auto saved = ProgressFile(bundle.progressFile(), environment().disk).readData();
        if (!saved || saved->url != url || saved->fileSize != probe.contentLength)
            return failure(mismatch());
        // A single stream can't be continued: it always starts over.
        if (probe.supportsMultipartDownloads && !saved->progressData->isIndeterminateSize())
            record = saved->progressData;
        onMain([&] {
            m_referer = saved->referer ? saved->referer : m_referer;
            m_requestedPartitions =
                std::clamp<std::int64_t>(saved->requestedConnections, 1, kMostConnections);
            m_recoveredSession = true;
        });
    }
    auto intake = m_intake.lock();
    if (!intake->file) // given up meanwhile: the job was stopped
        return failure(remoteFileError(kRemoteFileIllegalState, "tr.err.already-stopped"));
    // Never believe in bytes that the data file does not hold.
    record->forgetFrom(std::max<std::int64_t>(Disk::lengthOf(intake->file.descriptor()), 0));
    const bool startsOver = record->totalBytesDownloaded() == 0;
    if (startsOver || Disk::lengthOf(intake->file.descriptor()) > probe.contentLength) {
        const std::int64_t length = startsOver ? 0 : probe.contentLength;
        if (const auto cut = environment().disk.truncate(intake->file.descriptor(), length, intake->path);
            !cut)
            return failure(cut.error());
    }
    return record;
}

void CURLRemoteFile::createHandles() {
    std::optional<Url> referer;
    std::int64_t count = 0;
    onMain([&] {
        referer = m_referer;
        count = partitionCount();
    });
    LiveCurlDownloaderFactory factory(environment().transfers, nullptr);
    const HandleCreator creator(m_intake.lock()->record, *m_url, m_authToken, referer, self(),
                                environment().defaults, factory);
    auto handles = m_supportsMultipartDownloads ? creator.createHandles(count) : creator.createWholeHandle();
    onMain([&] {
        m_easyHandles.swap(handles);
        Q_EMIT totalBytesDownloadedChanged();
    });
}

Result<void> CURLRemoteFile::ensureBundleSubfiles(const ProgressBundle& bundle) {
    // The data file is there since it was taken; the progress file comes into being whole, with its
    // first record, for an empty one could not be resumed.
    const auto saved = saveProgress();
    if (saved || bundle.progressFileExists())
        return saved;
    return failure(becauseOf("tr.err.no-create-progress-file", saved.error()));
}

} // namespace tarvo
