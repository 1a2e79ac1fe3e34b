#include "jobs/JobOrigin.h"

#include "base/Log.h"
#include "base/Settings.h"
#include "jobs/JobErrors.h"
#include "storage/ProgressFile.h"

#include <algorithm>
#include <cerrno>

namespace tarvo {

namespace {

/// A bundle's own name is the job's, whatever the server may suggest.
JobOrigin namedAfter(const ProgressBundle& bundle) {
    return {
        .url = std::nullopt,
        .folder = bundle.baseFolder(),
        .facts = {.bundle = {.bookmark = bundle.bundleDirectory(), .hasRecord = true}, .isRecovered = true},
        .name = bundle.fileName()};
}

JobOrigin failedOrigin(JobOrigin origin, Error problem) {
    origin.problem = std::move(problem);
    return origin;
}

} // namespace

std::string nameFromUrl(const Url& url) {
    const std::string last = url.lastPathComponent();
    return last.empty() || last == "/" ? url.withoutCredentials().absoluteString() : last;
}

std::int64_t usableConnections(std::int64_t asked) {
    return std::clamp<std::int64_t>(asked, 1, kMostConnections);
}

JobOrigin originOfLink(const DownloadLink& link) {
    return {.url = link.url,
            .folder = link.folder,
            .facts = {.referer = link.referer,
                      .requestedPartitions = usableConnections(link.connections),
                      .checksum = link.checksum,
                      .isRecovered = true},
            .name = link.name,
            .added = link.added};
}

DownloadLink linkOfOrigin(const JobOrigin& origin) {
    return {*origin.url,          origin.folder, origin.facts.requestedPartitions,
            origin.facts.referer, origin.name,   origin.added,
            origin.facts.checksum};
}

JobOrigin originOfBundle(const std::string& bundleDirectory, Disk& disk,
                         const std::optional<WallTime>& added) {
    const auto named = ProgressBundle::fromBundleDirectory(bundleDirectory);
    const auto bundle = named ? ProgressBundle::fromBundleBookmark(named->bundleDirectory()) : std::nullopt;
    if (!bundle)
        return failedOrigin({.url = std::nullopt,
                             .folder = folderOf(bundleDirectory),
                             .facts = {.isRecovered = true},
                             .added = added},
                            Error::posix(named ? ENOENT : EINVAL, "open the bundle", bundleDirectory));
    JobOrigin origin = namedAfter(*bundle);
    origin.added = added;
    if (const auto own = bundle->checkIsOwn(); !own)
        return failedOrigin(origin, own.error());
    if (!bundle->progressFileExists())
        return failedOrigin(origin,
                            Error::localized(ErrorDomain::Posix, ENOENT, "tr.err.no-open-progress-file"));
    origin.facts.bundle.isOwned = true;
    const auto saved = ProgressFile(bundle->progressFile(), disk).readData();
    if (!saved)
        return failedOrigin(origin, saved.error());
    origin.url = saved->url;
    origin.facts.referer = saved->referer;
    origin.facts.headers = saved->headers;
    origin.facts.requestedPartitions = usableConnections(saved->requestedConnections);
    origin.facts.checksum = Checksum::parse(saved->checksum);
    origin.fileSize = saved->fileSize;
    origin.record = saved->progressData;
    return origin;
}

JobOrigin originOfBundleOrAway(const ProgressBundle& bundle, Disk& disk,
                               const std::optional<WallTime>& added) {
    if (!bundle.isAway())
        return originOfBundle(bundle.bundleDirectory(), disk, added);
    JobOrigin origin = namedAfter(bundle); // its record is on a disk that may come back
    origin.added = added;
    return failedOrigin(origin, folderAway(bundle.baseFolder()));
}

std::optional<JobOrigin> decodeOrigin(KeyedUnarchiver& unarchiver, Disk& disk) {
    const auto path = unarchiver.decodeString("bundlePath"); // as earlier versions archived a job
    const auto bookmark = path ? path : unarchiver.decodeData("bundleBookmark");
    const bool isPath = bookmark && bookmark->starts_with('/');
    if (path && isPath)
        return originOfBundle(*path, disk);
    const auto bundle = isPath ? ProgressBundle::fromBundleDirectory(*bookmark) : std::nullopt;
    if (bundle && bundle->isAway())
        return originOfBundleOrAway(*bundle, disk);
    if (!isPath || !ProgressBundle::fromBundleBookmark(*bookmark)) {
        Log::error("Could not load bookmark");
        return std::nullopt;
    }
    // All that is left when the program ends while a finished download's bundle is being removed.
    if (Disk::removeEmptyFolder(*bookmark)) {
        Log::warning("The bundle \"{}\" was empty and is removed", *bookmark);
        return std::nullopt;
    }
    return originOfBundle(*bookmark, disk);
}

void encodeOrigin(KeyedArchiver& archiver, const std::string& bundleDirectory) {
    archiver.encodeData("bundleBookmark", bundleDirectory);
}

} // namespace tarvo
