// What a download job is made from: an address, a row of the saved queue, a bundle, another job.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "base/Disk.h"
#include "base/KeyedArchiver.h"
#include "engine/progress/ProgressData.h"
#include "jobs/DownloadFacts.h"
#include "jobs/DownloadLink.h"
#include "storage/ProgressBundle.h"

namespace tarvo {

struct JobOrigin {
    std::optional<Url> url;
    std::string folder{}; ///< of bundle and finished file; absolute
    DownloadFacts facts{};
    std::optional<std::string> name{};      ///< that the user or an earlier run has chosen
    std::int64_t fileSize = 0;              ///< bytes; below 1: unknown
    std::shared_ptr<ProgressData> record{}; ///< its progress shows before the job is ready
    std::optional<Error> problem{};         ///< with which the job begins as failed
    std::optional<WallTime> added{};        ///< when the user asked for the file; none: not known
};

/// A row of the saved queue. Where its file turns out to be there already, of the same size and from the same
/// address, the job succeeds as soon as it is prepared.
JobOrigin originOfLink(const DownloadLink& link);

/// The row that originOfLink() makes the same job of, without what the disk keeps. `origin` has an address.
DownloadLink linkOfOrigin(const JobOrigin& origin);

/// A bundle on the disk, as its record tells it. One that can't be restored is a job that has failed.
JobOrigin originOfBundle(const std::string& bundleDirectory, Disk& disk,
                         const std::optional<WallTime>& added = std::nullopt);

/// A bundle that may be away with its disk: then a job that has failed, until that is back.
JobOrigin originOfBundleOrAway(const ProgressBundle& bundle, Disk& disk,
                               const std::optional<WallTime>& added = std::nullopt);

/// What encodeOrigin() archived; none, and the reason in the log, when the bundle is gone or empty.
std::optional<JobOrigin> decodeOrigin(KeyedUnarchiver& unarchiver, Disk& disk);

/// Archives the bundle's folder, of which all else is known.
void encodeOrigin(KeyedArchiver& archiver, const std::string& bundleDirectory);

/// The name by which a download goes until its server has told another.
std::string nameFromUrl(const Url& url);

/// The number of connections for what was asked for: 1 to kMostConnections.
std::int64_t usableConnections(std::int64_t asked);

} // namespace tarvo
