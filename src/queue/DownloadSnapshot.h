// One look at a download: what every face of the program shows of it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/Clock.h"
#include "jobs/RemoteFile.h"

namespace tarvo {

struct DownloadSnapshot {
    std::string url;              ///< without a password; without an address, the path of the file
    std::string name;             ///< of the file
    std::int64_t bytes = 0;       ///< on disk so far
    std::int64_t size = 0;        ///< in bytes; below 1: not known
    std::int64_t speed = 0;       ///< bytes per second
    std::int64_t connections = 0; ///< at work
    Seconds left{0};              ///< to the end at this speed
    std::optional<std::int64_t>
        verified{}; ///< of all bytes, which are there, those that were read for the checksum
    std::int64_t wantedConnections = 0;
    std::optional<ConnectionLimit> connectionLimit{}; ///< why they are fewer than wanted
};

/// Main thread.
DownloadSnapshot snapshotOf(const RemoteFile& job);

} // namespace tarvo
