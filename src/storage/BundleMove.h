// Takes an unfinished download to another folder, which may be on another file system.
#pragma once

#include "base/Disk.h"
#include "storage/ProgressBundle.h"

namespace tarvo {

/// Moves the bundle `from` to the place `to`; EEXIST when that is taken. To another file system its files are
/// copied, which takes as long as the disks need, and removed here only once the copy is safely there. After
/// an error the bundle is as it was, and nothing of it is at `to`. The bundle must not be written to
/// meanwhile.
Result<void> moveBundle(const ProgressBundle& from, const ProgressBundle& to, Disk& disk);

} // namespace tarvo
