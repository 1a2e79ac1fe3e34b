#include "cli/TargetJobs.h"

namespace tarvo {

namespace {

std::shared_ptr<CURLRemoteFile> jobOfBundle(const std::string& bundle, const Options& options,
                                            const JobEnvironment& environment) {
    auto job = CURLRemoteFile::fromBundleFile(bundle, environment);
    if (!options.address || job->error())
        return job;
    job = std::static_pointer_cast<CURLRemoteFile>(job->copyAt(*options.address));
    if (options.referer)
        job->setReferer(options.referer);
    return job;
}

} // namespace

std::shared_ptr<RemoteFile> jobFor(const Target& target, const Options& options,
                                   const JobEnvironment& environment) {
    if (!target.url)
        return jobOfBundle(target.bundle, options, environment);
    auto job = CURLRemoteFile::create(*target.url, options.connections, options.directory, environment);
    job->setReferer(options.referer);
    if (options.outputName)
        job->setOverridenFileName(*options.outputName);
    return job;
}

} // namespace tarvo
