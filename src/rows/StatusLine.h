// What the line below the list says of the queue as a whole.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "queue/QueueRun.h"

namespace tarvo {

struct QueueFacts {
    QueueRunState state = QueueRunState::stopped;
    std::size_t running = 0;
    std::size_t waiting = 0;
    std::int64_t speed = 0;     ///< bytes per second
    std::int64_t bytesLeft = 0; ///< of the jobs whose size is known
    bool isSizeUnknown = false; ///< of some that is yet to come
};

/// Walks over the unfinished jobs. Main thread.
QueueFacts queueFactsOf(const RemoteFilesArrayController& queue, QueueRunState state);

/// "Running", "Paused by you" and so on.
std::string runStateText(QueueRunState state);

/// "2 running, 5 waiting"; empty when there is neither.
std::string countsText(const QueueFacts& facts);

/// "2 min 3 s left", or "more than 2 min 3 s left" when not every size is known; empty while nothing comes
/// in.
std::string timeLeftText(const QueueFacts& facts);

/// "12.3 GiB free"; empty when it is not known.
std::string freeSpaceText(std::optional<std::int64_t> bytes);

} // namespace tarvo
