// A libcurl multi handle: the connections that one thread's transfers share.
#pragma once

#include <chrono>
#include <vector>

#include "base/Error.h"

namespace tarvo {

/// Owns the multi handle and its connection cache. Used by one thread at a time, which may be another one
/// each time that it is lent (ConnectionPools); only wakeup() may be called from others. Connections are
/// never multiplexed: ten handles are ten connections.
class ConnectionPool {
public:
    ConnectionPool();

    /// Closes the connections without a word to their servers, and so waits for none of them.
    ~ConnectionPool();

    ConnectionPool(const ConnectionPool&) = delete;
    ConnectionPool& operator=(const ConnectionPool&) = delete;

    /// The multi handle (CURLM*).
    void* multiHandle() const { return m_multi; }

    /// Takes a configured easy handle (CURL*) in, until remove(). It belongs to no other pool, ever.
    void add(void* easyHandle);
    void remove(void* easyHandle);

    /// Waits until a socket is ready, libcurl wants to be called, or somebody calls wakeup(), at most
    /// `limit` (curl_multi_poll).
    void wait(std::chrono::milliseconds limit);

    /// Ends a wait() at once, the present one or the next. Any thread.
    void wakeup();

    /// How many sockets are open, in use or kept for the next transfer.
    std::size_t socketCount() const { return m_sockets.size(); }

private:
    /// What libcurl calls to open and close a socket, with the pool as the user pointer.
    struct Callbacks;

    void* m_multi;
    std::vector<int> m_sockets;
};

} // namespace tarvo
