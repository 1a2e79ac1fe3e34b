// The jobs for what tarvo-get is asked to download.
#pragma once

#include <memory>

#include "cli/Options.h"
#include "jobs/CURLRemoteFile.h"

namespace tarvo {

/// Always a job; that of a bundle which can't be read has failed. Main thread; `environment` outlives it.
std::shared_ptr<CURLRemoteFile> jobFor(const Target& target, const Options& options,
                                       const JobEnvironment& environment);

} // namespace tarvo
