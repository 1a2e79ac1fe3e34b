// A bundle on which no job works just now: taken, removed, moved.
#pragma once

#include <optional>
#include <string>

#include "base/Disk.h"
#include "base/Url.h"
#include "storage/ProgressBundle.h"

namespace tarvo {

/// Takes the bundle's data file, so that no job works on the bundle as long as the handle lives; an empty
/// handle when the bundle has no data file. EWOULDBLOCK when a job has it.
Result<FileHandle> takeAtRest(const ProgressBundle& bundle, Disk& disk);

/// Removes the bundle if it is there. One that has become another download's than that of `url` is left
/// without a word. `isHeld`: the caller has its data file.
Result<void> removeAtRest(const ProgressBundle& bundle, const std::optional<Url>& url, bool isHeld,
                          Disk& disk);

/// Removes what there is of a download: the file, and the bundle as removeAtRest() does. Neither is kept for
/// the other's sake; the last failure, if there was one.
std::optional<Error> removeAll(const std::optional<std::string>& finalFile,
                               const std::optional<ProgressBundle>& bundle, const std::optional<Url>& url,
                               bool isHeld, Disk& disk);

/// Moves the bundle in the folder `bookmark` as moveBundle() does. `isHeld`: the caller has its data file.
Result<void> moveAtRest(const std::string& bookmark, const ProgressBundle& to, bool isHeld, Disk& disk);

} // namespace tarvo
