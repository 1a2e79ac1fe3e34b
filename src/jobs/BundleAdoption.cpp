#include "jobs/BundleAdoption.h"

#include "base/FileName.h"
#include "base/Localized.h"
#include "base/Log.h"
#include "jobs/FileFinalizer.h"
#include "jobs/JobErrors.h"
#include "jobs/JobOrigin.h"
#include "storage/ProgressFile.h"

#include <cerrno>

namespace tarvo {

namespace {

constexpr std::size_t kBundleSuffixBytes = 11; // ".trdownload"

Error damaged(const ProgressBundle& bundle, const Error& cause) {
    return {std::string(ErrorDomain::RemoteFile), kRemoteFileProgressMismatch,
            localized("tr.err.progress-damaged", {bundle.bundleDirectory(), cause.description}),
            localized("tr.err.progress-file-recovery")};
}

/// Whether the file has not been changed last before that of the server was.
bool isNoOlder(const std::string& file, const Validator& version) {
    const std::int64_t changed = version.modificationTime();
    return changed >= 0 && Disk::modificationTimeOf(file) >= changed;
}

Error mismatch() {
    return remoteFileError(kRemoteFileProgressMismatch, "tr.err.progress-file-mismatch",
                           "tr.err.progress-file-recovery");
}

} // namespace

Error alreadyComplete() {
    return {std::string(ErrorDomain::RemoteFile), kRemoteFileAlreadyComplete, "", ""};
}

Result<void> BundleAdoption::checkKnown() const {
    const BundleFacts& known = m_found.facts.bundle;
    const auto bundle = known.bookmark ? ProgressBundle::fromBundleDirectory(*known.bookmark) : std::nullopt;
    if (!bundle)
        return {};
    if (bundle->isAway(known.device)) // making it anew would hide what comes back
        return failure(folderAway(bundle->baseFolder()));
    return bundle->checkIsOwn();
}

bool BundleAdoption::wasFinishedBefore() {
    const auto& bookmark = m_found.facts.bundle.bookmark;
    const auto bundle = bookmark ? ProgressBundle::fromBundleDirectory(*bookmark) : std::nullopt;
    if (!bundle || bundle->tempFileExists() || !bundle->progressFileExists())
        return false;
    const auto saved = ProgressFile(bundle->progressFile(), m_environment.disk).readData();
    if (!saved || !(saved->isOf(m_url) || isOfFormer(*saved)) || saved->fileSize < 1 ||
        Disk::lengthOfFile(bundle->finalFile()) != saved->fileSize)
        return false;
    Log::warning("The download \"{}\" was finished before; only its bundle was left", bundle->finalFile());
    if (const auto removed = bundle->removeFrom(m_environment.disk); !removed)
        Log::error("Could not remove bundle. Ignoring because it isnt essential: {}",
                   removed.error().description);
    m_found.finished = {bundle->finalFile(), saved->fileSize};
    forgetBundle();
    return true;
}

void BundleAdoption::forgetBundle() {
    m_found.facts.bundle.bookmark.reset();
    m_found.facts.bundle.hasRecord = false;
}

Result<ProgressBundle> BundleAdoption::take(const BundlePlace& place, const ProbeAnswers& probe) {
    // The user may have removed the bundle; then the download starts over under its name.
    const auto& bookmark = m_found.facts.bundle.bookmark;
    if (bookmark && !Disk::exists(*bookmark))
        forgetBundle();
    if (!bookmark)
        return makeNew(place, probe);
    const auto bundle = ProgressBundle::fromBundleBookmark(*bookmark);
    return bundle ? open(*bundle) : failure(Error::posix(ENOENT, "open the bundle", *bookmark));
}

Result<ProgressBundle> BundleAdoption::open(const ProgressBundle& bundle) {
    if (const auto own = bundle.checkIsOwn(); !own)
        return failure(own.error());
    if (const auto opened = m_intake.open(bundle); !opened)
        return failure(opened.error());
    m_found.facts.bundle.device = bundle.device();
    return bundle;
}

/// Of a bundle that is in use: whether by the download of another address, as far as can be seen. One that
/// has just begun has no record yet.
bool BundleAdoption::isOfAnother(const ProgressBundle& bundle) const {
    const auto saved = ProgressFile(bundle.progressFile(), m_environment.disk).readData();
    return !saved || !saved->isOf(m_url);
}

Result<ProgressBundle> BundleAdoption::makeNew(const BundlePlace& place, const ProbeAnswers& probe) {
    const auto take = [&](const std::string& name) -> Result<ProgressBundle> {
        const ProgressBundle bundle(place.folder, name);
        const auto taken = failure(Error::posix(EEXIST, "make", bundle.bundleDirectory()));
        if (isFinishedHere(bundle.finalFile(), probe)) {
            m_found.finished = {bundle.finalFile(), Disk::lengthOfFile(bundle.finalFile())};
            return failure(alreadyComplete());
        }
        if (bundle.finalFileExists())
            return taken;
        const bool isNew = !Disk::exists(bundle.bundleDirectory());
        if (const auto made = m_environment.disk.makeFolders(bundle.bundleDirectory()); !made)
            return failure(made.error());
        if (!Disk::isFolder(bundle.bundleDirectory())) // a file or a link has the name: no bundle of ours
            return taken;
        m_found.facts.bundle.isOwned = isNew;
        m_found.facts.bundle.bookmark = bundle.bundleDirectory();
        m_found.chosenName = name;
        auto opened = open(bundle);
        const bool isInUse = !opened && opened.error().is(ErrorDomain::Posix, EWOULDBLOCK);
        if (!isInUse || !isOfAnother(bundle))
            return opened;
        m_found.facts.bundle = {};
        m_found.chosenName.reset();
        return taken;
    };
    return takeFreeName(place.name.empty() ? "UnknownName" : place.name, kBundleSuffixBytes, take);
}

/// A download of the saved queue, of which the program ended before it could note that it had finished; or
/// one that the user has asked for before, if the server still has the same version.
bool BundleAdoption::isFinishedHere(const std::string& file, const ProbeAnswers& probe) const {
    const DownloadFacts& facts = m_found.facts;
    const std::int64_t length = Disk::lengthOfFile(file);
    const bool isSizeKnown = probe.contentLength > 0;
    if (length < 0 || (isSizeKnown && length != probe.contentLength))
        return false;
    const RequestTraits& traits = m_environment.transfers.traits;
    if (!FileFinalizer(file).isFrom(m_url.absoluteString()))
        return traits.comparesTimes && isSizeKnown && isNoOlder(file, probe.validator);
    if (facts.isRecovered && isSizeKnown)
        return true;
    const Validator noted = FileFinalizer(file).version();
    const bool tellsNothing = noted == Validator{.origin = noted.origin} &&
                              probe.validator == Validator{.origin = probe.validator.origin};
    const bool isSame = compare(noted, probe.validator) == Sameness::same || (tellsNothing && isSizeKnown);
    return traits.takesWhatIsThere && isSame;
}

Result<void> BundleAdoption::adoptRecord(const ProgressBundle& bundle, const ProbeAnswers& probe) {
    auto record = readRecord(bundle, probe);
    if (!record)
        return failure(record.error());
    if (auto adopted = m_intake.adopt(std::move(*record), probe.contentLength); !adopted)
        return adopted;
    m_found.facts.bundle.isOwned = true;
    return {};
}

bool BundleAdoption::isOfFormer(const ProgressState& saved) const {
    const auto& former = m_found.facts.formerUrl;
    return former && !saved.isOf(m_url) && saved.isOf(*former);
}

Result<void> BundleAdoption::checkRecord(const ProgressState& saved, const ProbeAnswers& probe) {
    if (isOfFormer(saved))
        return m_proof.run(saved, m_intake.snapshot(), probe, m_found.facts);
    const bool fits = saved.isOf(m_url) && saved.fileSize == probe.contentLength;
    return fits ? Result<void>() : failure(mismatch());
}

/// The bundle's record, if the download can go on with it, else a fresh one.
Result<AdoptedRecord> BundleAdoption::readRecord(const ProgressBundle& bundle, const ProbeAnswers& probe) {
    AdoptedRecord adopted{.data = std::make_shared<ProgressData>(probe.contentLength),
                          .validator = probe.validator};
    if (!bundle.progressFileExists())
        return adopted;
    const auto saved = ProgressFile(bundle.progressFile(), m_environment.disk).readData();
    if (!saved)
        return failure(damaged(bundle, saved.error()));
    if (const auto fits = checkRecord(*saved, probe); !fits)
        return failure(fits.error());
    DownloadFacts& facts = m_found.facts;
    if (!isOfFormer(*saved) && saved->referer)
        facts.referer = saved->referer;
    if (!isOfFormer(*saved))
        facts.headers = withOthers(facts.headers, saved->headers);
    if (!facts.isChosen)
        facts.requestedPartitions = usableConnections(saved->requestedConnections);
    facts.checksum = facts.checksum ? facts.checksum : Checksum::parse(saved->checksum);
    facts.isRecovered = true;
    const bool isEmpty = saved->progressData->totalBytesDownloaded() == 0;
    if (isEmpty && !isOfFormer(*saved))
        adopted.timesChanged = saved->timesChanged;
    // A single stream can't be continued: it always starts over. So does what was whole, and wrong.
    const bool isWrong = isKnownToDiffer(saved->wrongDigest, facts.checksum);
    if (isEmpty || isWrong || !probe.supportsParts || saved->progressData->isIndeterminateSize())
        return adopted;
    const Sameness sameness = compare(saved->validator, probe.validator);
    if (sameness == Sameness::different) {
        const auto started = startOver(bundle, *saved);
        return failure(started ? changedOnServer() : started.error());
    }
    adopted.data = saved->progressData;
    if (sameness == Sameness::unknown) {
        for (const auto& hole : adopted.data->readoutHoles())
            adopted.unproven.insert(hole->lowerBound);
        adopted.unproven.erase(0); // nothing lies before it
    }
    return adopted;
}

/// Forgets what is there of another version; the next attempt begins with an empty data file.
Result<void> BundleAdoption::startOver(const ProgressBundle& bundle, const ProgressState& saved) {
    ProgressState fresh = saved;
    fresh.progressData = std::make_shared<ProgressData>(saved.fileSize);
    fresh.validator = {};
    fresh.timesChanged = saved.timesChanged + 1;
    m_intake.show(fresh.progressData, saved.fileSize);
    return m_environment.remoteFileSavingQueue.sync(
        [&] { return ProgressFile(bundle.progressFile(), m_environment.disk).writeData(fresh); });
}

} // namespace tarvo
