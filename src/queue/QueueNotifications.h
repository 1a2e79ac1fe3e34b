// Names of notifications that more than one object of the queue knows.
#pragma once

#include <string_view>

namespace tarvo {

/// Nothing is pending, active or failed any more. Object: the queue's controller. Posted once for each time
/// that the running queue comes to its end.
inline constexpr std::string_view kQueueWindowCompletedAllDownloads = "QueueWindowCompletedAllDownloads";

} // namespace tarvo
