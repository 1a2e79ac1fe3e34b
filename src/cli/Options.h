// The command line of tarvo-get: what was asked for, checked.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "base/Settings.h"
#include "base/Url.h"
#include "cli/Targets.h"
#include "engine/transfer/RequestTraits.h"
#include "jobs/Checksum.h"

namespace tarvo {

struct Options {
    std::vector<Target> targets;
    std::vector<BadLine> badLines;
    std::string directory;        ///< absolute
    std::int64_t connections = 1; ///< for each file
    std::int64_t jobs = 1;        ///< files at once
    std::optional<std::string> outputName;
    std::optional<Url> address;    ///< from which the one bundle is to go on
    bool toStandardOutput = false; ///< of the single address; no file
    std::optional<Url> referer;
    std::optional<std::string> userName;
    std::optional<std::string> password;
    std::optional<std::string> userAgent;
    std::optional<std::string> proxy;
    RequestHeaders headers;
    std::string cookieFile;                ///< in the Netscape form; empty for none
    std::optional<std::int64_t> limitRate; ///< bytes a second of all files together
    IpVersion ipVersion = IpVersion::any;
    std::int64_t connectTimeout = 30; ///< seconds
    std::int64_t largestFile = 0;     ///< bytes; 0: no limit
    std::optional<Checksum> checksum;
    std::int64_t retries = 5;  ///< attempts after the first
    bool page = false;         ///< also where a file was expected
    bool timestamping = false; ///< a file that others have fetched is compared by size and time
    bool again = false;        ///< also what is there already
    bool attach = false;       ///< hand everything to the running application
    bool quiet = false;
    bool json = false;
    bool verbose = false;
};

/// Nothing is to be downloaded: print `text` (help, version, or what is wrong) and end with `status`.
struct EarlyExit {
    int status = 0;
    std::string text;
};

/// A number of bytes as people write it: "2M", "500k", "1.5G", by 1024 (wget(1), curl(1), aria2c(1)). None
/// for what is none, or is below 1.
std::optional<std::int64_t> bytesIn(const std::string& text);

/// Reads the command line; defaults come from the settings. Bad usage has status 2.
std::variant<Options, EarlyExit> parseOptions(int argc, const char* const* argv, const Settings& settings,
                                              const std::string& homeFolder);

} // namespace tarvo
