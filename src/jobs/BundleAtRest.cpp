#include "jobs/BundleAtRest.h"

#include "jobs/JobErrors.h"
#include "storage/BundleMove.h"
#include "storage/ProgressFile.h"

#include <cerrno>

namespace tarvo {

Result<FileHandle> takeAtRest(const ProgressBundle& bundle, Disk& disk) {
    const std::string path = bundle.tempFile();
    if (!Disk::exists(path))
        return FileHandle();
    auto file = disk.openLocked(path, std::chrono::milliseconds(0));
    if (!file && file.error().is(ErrorDomain::Posix, EWOULDBLOCK))
        return failure(bundleInUse(bundle.bundleDirectory()));
    return file;
}

Result<void> removeAtRest(const ProgressBundle& bundle, const std::optional<Url>& url, bool isHeld,
                          Disk& disk) {
    if (!bundle.bundleExists())
        return {};
    const auto taken = isHeld ? FileHandle() : takeAtRest(bundle, disk);
    if (!taken)
        return failure(taken.error());
    const auto record = ProgressFile(bundle.progressFile(), disk).readData();
    if (record && (!url || !record->isOf(*url)))
        return {};
    return bundle.removeFrom(disk);
}

std::optional<Error> removeRemains(const JobRemains& remains, Disk& disk) {
    Result<void> removed;
    if (remains.finalFile && Disk::exists(*remains.finalFile))
        removed = disk.removeTree(*remains.finalFile);
    const auto bundle = remains.bundle ? ProgressBundle::fromBundleDirectory(*remains.bundle) : std::nullopt;
    const auto kept = bundle ? removeAtRest(*bundle, remains.url, remains.isHeld, disk) : Result<void>();
    if (!kept)
        return kept.error();
    return removed ? std::nullopt : std::optional(removed.error());
}

Result<void> moveAtRest(const std::string& bookmark, const ProgressBundle& to, bool isHeld, Disk& disk) {
    const auto from = ProgressBundle::fromBundleBookmark(bookmark);
    if (!from)
        return failure(Error::posix(ENOENT, "open the bundle", bookmark));
    const auto taken = isHeld ? FileHandle() : takeAtRest(*from, disk);
    return taken ? moveBundle(*from, to, disk) : failure(taken.error());
}

} // namespace tarvo
