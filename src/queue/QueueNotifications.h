// Names of notifications that more than one object of the queue knows.
#pragma once

#include <string_view>

namespace tarvo {

/// The running queue has come to its end: nothing is pending, active or failed any more, and since the last
/// time a download has really finished. A queue that ends because the user empties it, starts it empty or
/// quits the program has completed nothing, so nothing is posted then. Object: the queue's controller.
inline constexpr std::string_view kQueueWindowCompletedAllDownloads = "QueueWindowCompletedAllDownloads";

} // namespace tarvo
