#include "jobs/Finishing.h"

#include "base/FileName.h"
#include "base/Log.h"
#include "jobs/Checksum.h"
#include "jobs/FileFinalizer.h"
#include "jobs/JobErrors.h"

#include <cerrno>

namespace tarvo {

/// Counts what is read, and ends the reading.
class Finishing::Watch final : public TRFileHashDelegate {
public:
    static constexpr std::int64_t kNotReading = -1;

    bool update(TRFileHash&, std::int64_t processed, std::int64_t) override {
        count = processed;
        return !isStopped;
    }

    std::atomic<std::int64_t> count{kNotReading};
    std::atomic<bool> isStopped{false};
};

Finishing::Finishing(RecordedRequest request, std::shared_ptr<DataIntake> intake,
                     const JobEnvironment& environment)
    : m_request(std::move(request)), m_intake(std::move(intake)), m_environment(environment),
      m_watch(std::make_shared<Watch>()) {
}

void Finishing::requestStop() {
    m_watch->isStopped = true;
}

std::optional<std::int64_t> Finishing::bytesVerified() const {
    const std::int64_t count = m_watch->count;
    return count == Watch::kNotReading ? std::nullopt : std::optional(count);
}

Result<FinishedFile> Finishing::run(const std::string& name) {
    const DataSnapshot data = m_intake->snapshot();
    Disk& disk = m_environment.disk;
    if (!data.file)
        return failure(Error::alreadyStopped());
    const std::int64_t length = data.record->data->totalBytesDownloaded();
    if (Disk::lengthOf(data.file->descriptor()) != length)
        return failure(dataFileShrank(data.path));
    // Before the name says that the file is whole, the disk must hold it.
    if (const auto flushed = disk.flush(data.file->descriptor(), data.path); !flushed)
        return failure(writeFailure(flushed.error()));
    if (const auto verified = verify(data); !verified)
        return failure(verified.error());
    const auto moved = m_environment.remoteFileSavingQueue.sync([&]() -> Result<std::string> {
        if (const auto refusal = m_intake->refusal())
            return failure(*refusal);
        return moveToFinalName(data, name);
    });
    if (!moved)
        return failure(moved.error());
    // Outside the queue, for it takes the disk a while and there is no record to save any more. The bundle
    // goes only after that: with the name lost in a crash, it would still be complete.
    if (const auto flushed = disk.flushFolder(folderOf(*moved)); !flushed)
        return failure(flushed.error());
    const auto bundle = ProgressBundle::fromBundleDirectory(folderOf(data.path));
    if (const auto removed = bundle ? bundle->removeFrom(disk) : Result<void>(); !removed)
        Log::error("Could not remove bundle. Ignoring because it isnt essential: {}",
                   removed.error().description);
    const FileFinalizer finalizer(*moved);
    finalizer.setWhereFrom(m_request.url.absoluteString());
    finalizer.setVersion(data.record->validator);
    return FinishedFile{*moved, length};
}

/// Not in the saving queue: it reads the whole file.
Result<void> Finishing::verify(const DataSnapshot& data) {
    const auto wanted =
        m_environment.checksumDecides ? Checksum::parse(m_request.checksum) : std::optional<Checksum>();
    if (!wanted)
        return {};
    m_watch->count = 0;
    const auto found = digestOf(data.path, wanted->algorithm, m_watch);
    m_watch->count = Watch::kNotReading;
    if (const auto refusal = m_intake->refusal())
        return failure(*refusal);
    if (m_watch->isStopped)
        return failure(Error::alreadyStopped());
    if (found == wanted->digest)
        return {};
    m_wrongDigest = found ? Checksum{wanted->algorithm, *found}.text() : "";
    const auto bundle = ProgressBundle::fromBundleDirectory(folderOf(data.path));
    return failure(wrongChecksum(bundle ? bundle->finalFile() : data.path, found, *wanted,
                                 "tr.err.checksum-unfinished-recovery"));
}

Result<std::string> Finishing::moveToFinalName(const DataSnapshot& data, const std::string& name) {
    Disk& disk = m_environment.disk;
    const auto bundle = ProgressBundle::fromBundleDirectory(folderOf(data.path));
    if (!bundle || !bundle->bundleExists()) {
        Log::error("Progress bundle could not be opened");
        return failure(Error::localized(ErrorDomain::Posix, ENOENT, "tr.err.no-open-progress-file"));
    }
    disk.setUsualPermissions(data.file->descriptor());
    // A foreign file that has taken the name meanwhile stays; the download gets the next free one.
    auto moved = takeFreeName(name, 0, [&](const std::string& candidate) -> Result<std::string> {
        const std::string target = ProgressBundle(bundle->baseFolder(), candidate).finalFile();
        const auto renamed = disk.renameNoReplace(data.path, target);
        return renamed ? Result<std::string>(target) : failure(renamed.error());
    });
    if (moved)
        m_intake->markFinal();
    else
        Log::error("Could not move item: {}", moved.error().description);
    return moved;
}

} // namespace tarvo
