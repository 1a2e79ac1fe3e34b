// Which failures count against --retries.
#pragma once

#include <cstdint>

#include "engine/transfer/HostConnections.h"
#include "jobs/RemoteFile.h"

namespace tarvo {

/// Not an attempt that has brought more of the file than the `most` bytes that there have ever been, nor one
/// for which the server had no place beside the other downloads. Main thread.
bool usesUpRetry(const RemoteFile& failed, std::int64_t most, const HostConnections& hosts);

} // namespace tarvo
