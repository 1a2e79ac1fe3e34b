// The queue on a terminal while it works, or as lines that a script reads.
#pragma once

#include "remote/QueueClient.h"

namespace tarvo {

/// Shows it until the user or the application ends that, and answers the status to end with: 1 when the
/// application has gone. Runs the main loop. Main thread.
int watchQueue(QueueClient& client, bool isJson);

} // namespace tarvo
