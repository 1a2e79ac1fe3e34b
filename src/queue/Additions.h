// What may be added to the queue, and as what.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "base/Error.h"
#include "jobs/JobEnvironment.h"
#include "queue/RemoteFilesArrayController.h"

namespace tarvo {

/// Why nothing is added any more: nothing would be kept.
Error programEnds();

/// How many more jobs the queue takes. A restored session is taken whatever its length.
std::size_t freePlacesIn(const JobList& queue);
Error queueIsFull();

/// The job of a bundle that can be gone on with. Error: why it can't.
Result<std::shared_ptr<RemoteFile>> jobOfBundle(const std::string& bundleDirectory,
                                                const JobEnvironment& environment);

/// Adds the jobs, each finished download of the same address making room for the new one, in its row. Error:
/// see RemoteFilesArrayController::addRemoteFiles(). Main thread.
Result<void> addOverFinished(RemoteFilesArrayController& queue,
                             const std::vector<std::shared_ptr<RemoteFile>>& jobs);

} // namespace tarvo
