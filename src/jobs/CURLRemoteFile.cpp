#include "jobs/CURLRemoteFile.h"

#include "base/Log.h"
#include "base/Runloop.h"
#include "jobs/BundleAtRest.h"

#include <cerrno>

namespace tarvo {

CURLRemoteFile::CURLRemoteFile(const JobEnvironment& environment)
    : RemoteFileBase(environment),
      m_intake(std::make_shared<DataIntake>(environment.disk, environment.clock)) {
}

std::shared_ptr<CURLRemoteFile> CURLRemoteFile::make(const JobOrigin& origin,
                                                     const JobEnvironment& environment) {
    auto job = shared(new CURLRemoteFile(environment));
    job->setAddedDate(origin.added);
    job->m_url = origin.url;
    job->m_basePath = origin.folder;
    job->m_facts = origin.facts;
    if (origin.url)
        job->setSuggestedFileName(nameFromUrl(*origin.url));
    if (origin.name)
        job->setOverridenFileName(*origin.name);
    if (origin.fileSize > 0)
        job->setFileSize(origin.fileSize);
    if (origin.record)
        job->m_intake->show(origin.record, origin.fileSize);
    if (origin.problem)
        job->failWithError(*origin.problem);
    return job;
}

std::shared_ptr<CURLRemoteFile> CURLRemoteFile::create(const Url& url, std::int64_t partitions,
                                                       const std::string& directory,
                                                       const JobEnvironment& environment) {
    return make({.url = url,
                 .folder = directory,
                 .facts = {.requestedPartitions = usableConnections(partitions)},
                 .added = environment.clock.wallNow()},
                environment);
}

std::shared_ptr<CURLRemoteFile> CURLRemoteFile::fromBundleFile(const std::string& bundleDirectory,
                                                               const JobEnvironment& environment) {
    return make(originOfBundle(bundleDirectory, environment.disk, environment.clock.wallNow()), environment);
}

std::shared_ptr<RemoteFile> CURLRemoteFile::copy() const {
    if (m_url)
        return make(originAt(*m_url, m_facts), environment());
    const auto& bookmark = m_facts.bundle.bookmark;
    const auto bundle = bookmark ? ProgressBundle::fromBundleDirectory(*bookmark) : std::nullopt;
    return Log::assertThat(bundle.has_value())
               ? make(originOfBundleOrAway(*bundle, environment().disk, addedDate()), environment())
               : nullptr;
}

std::shared_ptr<RemoteFile> CURLRemoteFile::copyAt(const Url& address) const {
    return m_url ? make(originAt(address, m_facts.movedFrom(*m_url, address)), environment()) : nullptr;
}

/// Of what this job knows of itself, never of what its bundle says meanwhile: a copy must not turn into
/// another download. Preparation compares the two.
JobOrigin CURLRemoteFile::originAt(const Url& url, const DownloadFacts& facts) const {
    return {.url = url,
            .folder = m_basePath,
            .facts = facts,
            .name = overridenFileName(),
            .fileSize = awaitedBundle() ? fileSize() : 0, // which may go on being away
            .added = addedDate()};
}

void CURLRemoteFile::encode(KeyedArchiver& archiver) const {
    if (Log::assertThat(m_facts.bundle.bookmark.has_value()))
        encodeOrigin(archiver, *m_facts.bundle.bookmark);
}

double CURLRemoteFile::percentComplete() const {
    if (supportsMultipartDownloads())
        return RemoteFileBase::percentComplete();
    return currentState() == rf_state_succeeded ? 100.0 : -1.0;
}

std::int64_t CURLRemoteFile::activeConnections() const {
    if (isActive() && m_transfer)
        return m_transfer->activeConnections();
    return supportsMultipartDownloads() ? m_facts.requestedPartitions : 1;
}

std::optional<SegmentsSnapshot> CURLRemoteFile::segments() const {
    SegmentsSnapshot snapshot{fileSize()};
    if (isActive() && m_transfer)
        m_transfer->addTo(snapshot);
    return m_intake->tryAddTo(snapshot) ? std::optional(std::move(snapshot)) : std::nullopt;
}

/// What a single stream has brought is worth more than a fresh start: the server may only be slow.
bool CURLRemoteFile::failsWhenStalled() const {
    const bool isWaiting = m_transfer && m_transfer->isWaiting(); // not for bytes
    return isRetryable() && !isWaiting && (supportsMultipartDownloads() || totalBytesDownloaded() == 0);
}

std::optional<DownloadLink> CURLRemoteFile::link() const {
    return m_url ? std::optional(linkOfOrigin(originAt(m_facts.recordedUrl(*m_url), m_facts))) : std::nullopt;
}

std::optional<std::string> CURLRemoteFile::awaitedBundle() const {
    const auto& failed = error();
    const bool isAway = failed && failed->is(ErrorDomain::RemoteFile, kRemoteFileFolderAway);
    return isAway ? m_facts.bundle.bookmark : std::nullopt;
}

std::optional<std::string> CURLRemoteFile::activeFile() const {
    const auto& file = m_finalFileBookmark ? m_finalFileBookmark : m_facts.bundle.bookmark;
    if (!file)
        Log::error("No Active File");
    return file;
}

std::string CURLRemoteFile::description() const {
    return fmt::format("<CURLRemoteFile: {} url='{}'>", static_cast<const void*>(this),
                       m_url ? m_url->withoutPassword() : "");
}

void CURLRemoteFile::aboutToMakeReady(const std::shared_ptr<const TRAuthToken>& auth) {
    if (auth)
        m_tokens[auth->service()] = auth;
    m_intake->admit();
    if (m_url)
        m_preparation =
            std::make_shared<DownloadPreparation>(*m_url, m_facts, m_tokens, m_intake, environment());
}

RemoteFileBase::StepEnd CURLRemoteFile::doMakeReady(std::shared_ptr<const TRAuthToken>) {
    const auto preparation = m_preparation;
    if (!Log::assertThat(preparation != nullptr))
        return {failure(illegalState())};
    auto ready = preparation->run([this](const ProbeAnswers& probe) { return showProbe(probe); });
    const Result<void> result = ready ? Result<void>() : failure(ready.error());
    return {result, [this, found = preparation->found(), ready = std::move(ready)]() mutable {
                m_preparation.reset();
                takeOver(found);
                if (ready)
                    takeOver(std::move(*ready));
            }};
}

std::optional<BundlePlace> CURLRemoteFile::showProbe(const ProbeAnswers& probe) {
    std::optional<BundlePlace> place;
    onMain([&] {
        m_supportsMultipartDownloads = probe.supportsParts;
        setFileSize(probe.contentLength);
        setSuggestedFileName(probe.suggestedFileName);
        place = BundlePlace{fileName(), m_basePath};
    });
    return place;
}

void CURLRemoteFile::takeOver(const Findings& found) {
    Runloop::assertMain();
    m_facts = found.facts.withChoiceOf(m_facts); // which the user may have made meanwhile
    m_authenticationUrl = found.authenticationUrl;
    if (found.chosenName)
        setOverridenFileName(*found.chosenName);
    if (!found.finished)
        return;
    m_finalFileBookmark = found.finished->path;
    m_intake->showWhole(found.finished->length);
    setFileSize(found.finished->length);
}

void CURLRemoteFile::takeOver(ReadyDownload ready) {
    const auto announce = [weak = weak_from_this()] {
        Runloop::runOnMainLater([weak] {
            if (const auto job = weak.lock())
                Q_EMIT job->totalBytesDownloadedChanged();
        });
    };
    m_transfer = SegmentedTransfer::create(
        {requestOf(*m_url, m_facts), m_intake, environment(), speedometer(), announce}, std::move(ready));
    Q_EMIT totalBytesDownloadedChanged();
}

RemoteFileBase::StepEnd CURLRemoteFile::doDownload() {
    const auto transfer = m_transfer;
    if (!Log::assertThat(transfer != nullptr))
        return {failure(illegalState())};
    const auto finished = transfer->run([this] {
        std::optional<std::string> name;
        onMain([&] {
            name = fileName();
            // Nothing arrives any more: a slow disk's flush is no stalled server.
            speedometer().stopRecording();
        });
        return name;
    });
    return finished ? StepEnd{{}, [this, file = *finished] { takeOver(file); }}
                    : StepEnd{failure(finished.error())};
}

void CURLRemoteFile::takeOver(const FinishedFile& finished) {
    setOverridenFileName(nameOf(finished.path));
    m_finalFileBookmark = finished.path;
    m_facts.bundle.bookmark.reset();
    if (fileSize() < 1)
        setFileSize(finished.length);
}

Result<void> CURLRemoteFile::saveProgress() {
    Log::info("Begin save all progress");
    std::optional<ProgressSaver> saver;
    std::string bundle;
    onMain([&] {
        bundle = m_facts.bundle.bookmark.value_or("");
        if (m_url)
            saver.emplace(*m_intake, environment(), requestOf(*m_url, m_facts), bundle);
    });
    if (!saver) // a bundle that can't be read
        return failure(m_intake->refusal() ? saveWithFault() : illegalState());
    const auto saved = saver->save();
    if (const auto fatal = saved ? std::nullopt : fatalOfSave(saved.error(), bundle))
        failWithError(*fatal);
    return saved;
}

std::optional<Error> CURLRemoteFile::removeFiles() {
    // What was under way may still give the file its final name.
    waitForSteps();
    JobRemains remains;
    onMain([&] {
        remains = {m_finalFileBookmark, m_facts.bundle.isOwned ? m_facts.bundle.bookmark : std::nullopt,
                   m_facts.formerUrl ? m_facts.formerUrl : m_url, m_intake->isOpen()};
    });
    return removeRemains(remains, environment().disk);
}

Result<void> CURLRemoteFile::moveBundleTo(const std::string& folder) {
    Runloop::assertMain();
    if (!Log::assertThat(m_facts.bundle.bookmark && !folder.empty()))
        return failure(Error::posix(ENOENT, "move the download to", folder));
    return folder == m_basePath ? Result<void>() : moveTo({folder, fileName()});
}

Result<void> CURLRemoteFile::moveTo(const ProgressBundle& target) {
    if (!m_facts.bundle.bookmark)
        return {};
    if (!isAtRest() && currentState() != rf_state_stopped)
        return failure(illegalState());
    const bool isHeld = m_intake->isOpen();
    if (auto moved = moveAtRest(*m_facts.bundle.bookmark, target, isHeld, environment().disk); !moved)
        return moved;
    m_basePath = target.baseFolder();
    m_facts.bundle.bookmark = target.bundleDirectory();
    const auto followed = isHeld ? m_intake->follow(target) : Result<void>();
    if (!followed)
        failWithError(followed.error()); // moved it is, and the next preparation goes on with it
    return {};
}

void CURLRemoteFile::aboutToEnter(rf_state_t state) {
    if (state == rf_state_failed)
        m_intake->fail(error().value_or(incomplete()));
    else if (state == rf_state_stopped)
        m_intake->stop();
    else if (m_transfer && state == rf_state_paused)
        m_transfer->requestPause();
    else if (m_transfer && state == rf_state_running)
        m_transfer->requestResume();
    const bool isOver = state == rf_state_failed || state == rf_state_stopped;
    if (isOver && m_preparation)
        m_preparation->requestStop();
    if (isOver && m_transfer)
        m_transfer->requestStop();
}

} // namespace tarvo
