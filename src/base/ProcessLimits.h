// What the system lets the process have.
#pragma once

namespace tarvo {

/// Lets the process open as many files as the system allows it to (setrlimit(2), RLIMIT_NOFILE): every
/// download that is ready holds its data file, and a queue has thousands. Called once, at the start.
void raiseOpenFilesLimit();

} // namespace tarvo
