// A libcurl multi handle: the connections that one thread's transfers share.
#pragma once

#include <chrono>

#include "base/Error.h"

namespace tarvo {

/// Owns the multi handle and its connection cache. Used by one thread at a time; only wakeup() may be
/// called from others. Connections are never multiplexed: ten handles are ten connections.
class ConnectionPool {
public:
    ConnectionPool();
    ~ConnectionPool();
    ConnectionPool(const ConnectionPool&) = delete;
    ConnectionPool& operator=(const ConnectionPool&) = delete;

    /// The multi handle (CURLM*).
    void* multiHandle() const { return m_multi; }

    /// Waits until a socket is ready, libcurl wants to be called, or somebody calls wakeup(), at most
    /// `limit` (curl_multi_poll).
    void wait(std::chrono::milliseconds limit);

    /// Ends a wait() at once, the present one or the next. Any thread.
    void wakeup();

private:
    void* m_multi;
};

} // namespace tarvo
