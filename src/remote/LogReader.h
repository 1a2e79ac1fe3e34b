// What "tarvo log" prints: the end of the log, and what comes.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tarvo {

/// The last `count` lines of the log files in `folder`, the oldest first; what could steer a terminal is
/// replaced. Of each file no more than its last MiB is read. Any thread; waits for the disk.
std::vector<std::string> lastLogLines(const std::string& folder, std::size_t count);

/// Prints them, of the usual folder, and if `isFollowing` goes on with what is written, until the process is
/// ended. Answers the status to end with. Main thread.
int printLog(std::size_t count, bool isFollowing);

} // namespace tarvo
