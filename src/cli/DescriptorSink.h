// Writes a stream of bytes to a descriptor whose reader may be slow, or gone.
#pragma once

#include <atomic>
#include <span>

#include "base/Error.h"

namespace tarvo {

/// One thread writes.
class DescriptorSink {
public:
    explicit DescriptorSink(int descriptor);

    /// Waits for the reader. Error: POSIX, EPIPE where there is none any more; that it was stopped.
    Result<void> write(std::span<const char> data);

    /// Ends a write that waits, within a moment. Any thread.
    void requestStop() { m_isStopped = true; }

private:
    bool isReady() const;

    const int m_descriptor;
    const bool m_mayWait; ///< it is a pipe, a socket or a terminal
    std::atomic<bool> m_isStopped{false};
};

} // namespace tarvo
