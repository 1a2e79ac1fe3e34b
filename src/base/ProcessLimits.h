// What the system lets the process have.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace tarvo {

/// Lets the process open as many files as the system allows it to (setrlimit(2), RLIMIT_NOFILE): every
/// download that is ready holds its data file, and a queue has thousands. Called once, at the start.
void raiseOpenFilesLimit();

/// Whether that leaves enough files for one download; its connections need one each on top.
bool mayOpenEnoughFiles();

/// Whether `count` threads can run at once (pthread_create(3), EAGAIN). Costs some 20 µs for each.
bool mayStartThreads(std::size_t count);

/// Has a write beyond the largest size that the process may give a file (setrlimit(2), RLIMIT_FSIZE) fail
/// with EFBIG, as any other error of the disk, instead of ending the process. Called once, at the start.
void surviveFileSizeLimit();

/// Where the user is at home: $HOME, or what the list of users says (passwd(5)), which $HOME is set to then
/// for all that ask for it. None where neither does. Called once, before other threads exist.
std::optional<std::string> findHomeFolder();

} // namespace tarvo
