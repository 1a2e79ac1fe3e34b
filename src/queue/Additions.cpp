#include "queue/Additions.h"

#include "base/Localized.h"
#include "base/Log.h"
#include "jobs/CURLRemoteFile.h"

#include <algorithm>
#include <cerrno>

namespace tarvo {

namespace {

constexpr std::size_t kMostJobs = 20'000; // with more, a person finds nothing any more, and all gets slow

} // namespace

Error programEnds() {
    return Error::localized(ErrorDomain::Tarvo, kTarvoGeneral, "tr.err.program-ends",
                            "tr.err.program-ends-recovery");
}

std::size_t freePlacesIn(const JobList& queue) {
    return kMostJobs - std::min(queue.size(), kMostJobs);
}

Error queueIsFull() {
    return Error::tarvo(localized("tr.err.queue-full", {std::to_string(kMostJobs)}),
                        localized("tr.err.queue-full-recovery"));
}

Result<std::shared_ptr<RemoteFile>> jobOfBundle(const std::string& bundleDirectory,
                                                const JobEnvironment& environment) {
    // Before there is a job, whose failure would be a line of the log for every call from outside.
    const auto bundle = ProgressBundle::fromBundleDirectory(bundleDirectory);
    if (!bundle)
        return failure(Error::tarvo(localized("tr.err.no-bundle", {bundleDirectory})));
    if (!bundle->progressFileExists())
        return failure(Error::posix(ENOENT, "open the bundle", bundleDirectory));
    const auto job = CURLRemoteFile::fromBundleFile(bundleDirectory, environment);
    if (job->error())
        return failure(*job->error());
    return job;
}

Result<void> addOverFinished(RemoteFilesArrayController& queue,
                             const std::vector<std::shared_ptr<RemoteFile>>& jobs) {
    std::vector<std::shared_ptr<RemoteFile>> others;
    for (const auto& job : jobs) {
        const auto old = job ? queue.remoteFile(job->identity()) : nullptr;
        if (!old || old == job || old->currentState() != rf_state_succeeded)
            others.push_back(job);
        else if (const auto replaced = queue.replaceRemoteFile(old, job); !replaced)
            Log::error("A finished download can't be begun anew: {}", replaced.error().sentence());
    }
    return queue.addRemoteFiles(others);
}

} // namespace tarvo
