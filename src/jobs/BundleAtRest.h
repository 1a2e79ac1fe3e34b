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

/// What a job has on disk.
struct JobRemains {
    std::optional<std::string> finalFile{};
    std::optional<std::string> bundle{}; ///< the folder of its own one
    std::optional<Url> url{};
    bool isHeld = false; ///< it has the bundle's data file
};

/// Removes all of it; the last failure, if there was one.
std::optional<Error> removeRemains(const JobRemains& remains, Disk& disk);

/// Moves the bundle in the folder `bookmark` as moveBundle() does. `isHeld`: the caller has its data file.
Result<void> moveAtRest(const std::string& bookmark, const ProgressBundle& to, bool isHeld, Disk& disk);

} // namespace tarvo
