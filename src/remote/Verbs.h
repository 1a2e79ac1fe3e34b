// The verbs of tarvo: what a terminal can ask of the application that runs, and of its settings and log.
#pragma once

#include <string_view>

namespace tarvo {

/// "list", "status", "add", "start" and so on.
bool isVerb(std::string_view text);

/// Does what the verb, the first argument, says, and answers the status to end with: 0, 1 when it failed, 2
/// for bad usage. With an application object and the texts; main thread.
int runVerb(int argc, const char* const* argv);

} // namespace tarvo
