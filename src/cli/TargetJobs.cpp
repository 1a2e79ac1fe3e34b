#include "cli/TargetJobs.h"

namespace tarvo {

namespace {

JobOrigin originOf(const Target& target, const Options& options, const JobEnvironment& environment) {
    const WallTime now = environment.clock.wallNow();
    if (!target.url)
        return originOfBundle(target.bundle, environment.disk, now);
    return {
        .url = target.url,
        .folder = options.directory,
        .facts = {.referer = options.referer, .requestedPartitions = usableConnections(options.connections)},
        .name = options.outputName,
        .added = now};
}

} // namespace

std::shared_ptr<CURLRemoteFile> jobFor(const Target& target, const Options& options,
                                       const JobEnvironment& environment) {
    JobOrigin origin = originOf(target, options, environment);
    if (options.address && origin.url && !origin.problem) {
        origin.facts = origin.facts.movedFrom(*origin.url, *options.address);
        origin.facts.referer = options.referer ? options.referer : origin.facts.referer;
        origin.url = options.address;
        origin.fileSize = 0; // until the record is proven to be of that address's file
        origin.record.reset();
    }
    origin.facts.headers = withOthers(headersToKeep(options.headers), origin.facts.headers);
    if (options.checksum) // goes before what a bundle has noted
        origin.facts.checksum = options.checksum;
    return CURLRemoteFile::make(origin, environment);
}

} // namespace tarvo
