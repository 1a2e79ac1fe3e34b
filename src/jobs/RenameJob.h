// Gives an unfinished download another name.
#pragma once

#include <string>

#include "jobs/RemoteFile.h"

namespace tarvo {

/// The name is what the cleaner makes of `name`; a bundle moves along. Error: that the job does not support
/// it now, that nothing is left of the name, EEXIST (POSIX) when it is taken. Main thread.
Result<void> renameJob(RemoteFile& job, const std::string& name);

} // namespace tarvo
