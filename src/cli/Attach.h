// tarvo-get --attach: hands everything to the running application, and tells what became of it.
#pragma once

#include <ostream>

#include "cli/Options.h"
#include "platform/RunningInstance.h"

namespace tarvo {

/// A line for each target, as it is handed over: taken to `output`, not taken to `problems`; with --json all
/// to `output`. Answers the exit status. `application` is asked, and waited for. Main thread.
int attach(const Options& options, const RunningInstance& application, std::ostream& output,
           std::ostream& problems);

} // namespace tarvo
