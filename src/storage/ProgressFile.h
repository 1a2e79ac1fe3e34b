// The progress file of an unfinished download: what is done, of which file, from where.
#pragma once

#include <string>

#include "base/Disk.h"
#include "engine/progress/ProgressData.h"

namespace tarvo {

/// A keyed archive as an XML property list. Top-level keys: "URL", "fileSize", "progressData",
/// "HTTPReferer", "requestedConnections" and, for inspection only, "totalBytesDownloaded"; the validator's
/// ("entityTag", "lastModified", "isModificationStrong", "validatorOrigin"), "timesChanged", "checksum",
/// "wrongDigest" and "requestHeaders", which are optional; no address has a password, and no header that may
/// hold a secret is written; files of earlier versions have "easyHandles" in place of "progressData". Calls
/// for one file come one at a time.
class ProgressFile {
public:
    ProgressFile(std::string filepath, Disk& disk) : m_filepath(std::move(filepath)), m_disk(disk) {}

    /// Replaces the file: after a crash there is the old or the new one. A failure is logged and
    /// returned, and the old file stays. The data that the record claims must have been flushed before.
    Result<void> writeData(const ProgressState& state) const;

    /// Reads the file and believes it only if its ranges are possible ones for its size.
    Result<ProgressState> readData() const;

private:
    const std::string m_filepath;
    Disk& m_disk;
};

} // namespace tarvo
