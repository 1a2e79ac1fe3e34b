// The last words of a process that dies of a fault of its own.
#pragma once

#include <string>
#include <vector>

namespace tarvo {

/// From now on a fatal signal (SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT), of whatever thread, starts
/// `program` (a path) with `arguments` (its own name first) and tells it, on its standard input, the signal,
/// where the fault was and the calls that led there. The process waits for it, 10 s at the most, and then
/// dies of the signal as it would have without. What the memory of a faulty process holds can't be trusted:
/// that is why another one does all that takes more than a system call. A stack that is used up is reported
/// of the main thread only. Once, on the main thread.
void reportFatalSignals(std::string program, std::vector<std::string> arguments);

} // namespace tarvo
