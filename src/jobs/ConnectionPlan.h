// Where the bytes of a file come from, and the connections for those that are missing.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "engine/progress/HandleCreator.h"
#include "engine/transfer/TRAuthToken.h"
#include "jobs/DataIntake.h"
#include "jobs/JobEnvironment.h"

namespace tarvo {

/// Where a file is fetched, and how, as its preparation has found it out.
struct DownloadSource {
    /// Where redirects have led, if that server asks for credentials of its own: libcurl gives it none but
    /// when it is asked directly.
    Url url;
    std::shared_ptr<const TRAuthToken> auth;
    std::optional<Url> referer;
    RequestHeaders headers;
    std::int64_t connections = 1; ///< at most
    bool supportsParts = false;
    std::string host; ///< whose answer it was (Url::origin()), where redirects have led
};

/// Whether several connections are to fetch parts of the file. Where every answer is of another version, of
/// servers that take turns for instance, one answer has to do.
bool fetchesParts(const DownloadSource& source, const AdoptedRecord& record);

/// The connections for what `record` lacks, in the order in which they should start. `record` is a copy.
HandleCreator::Handles connectionsFor(const DownloadSource& source, const AdoptedRecord& record,
                                      const JobEnvironment& environment);

/// One more connection, for `range`, which `record` lacks.
std::shared_ptr<CurlDownloader> connectionFor(const ByteRange& range, const DownloadSource& source,
                                              const AdoptedRecord& record, const JobEnvironment& environment);

} // namespace tarvo
