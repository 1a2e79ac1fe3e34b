// A libcurl multi handle: the connections that one thread's transfers share.
#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "engine/transfer/CurlSegment.h"

namespace tarvo {

/// Owns the multi handle and its connection cache. Used by one thread at a time, which may be another one
/// each time that it is lent (ConnectionPools); only wakeup() may be called from others. Connections are
/// never multiplexed: ten handles are ten connections.
class ConnectionPool {
public:
    ConnectionPool();

    /// Breaks off what is still open.
    ~ConnectionPool();

    ConnectionPool(const ConnectionPool&) = delete;
    ConnectionPool& operator=(const ConnectionPool&) = delete;

    /// The multi handle (CURLM*).
    void* multiHandle() const { return m_multi; }

    /// Takes a configured segment in, until remove(). It belongs to no other pool, ever. False when that was
    /// not possible: the segment has failed, and knows the reason.
    bool add(CurlSegment& segment);
    void remove(CurlSegment& segment);

    /// Lets all transfers go on, and counts those that have not ended. Answers libcurl's result code
    /// (CURLcode); on any but 0 no transfer will come to an end.
    int perform(int& running);

    /// How often perform() has been called.
    std::uint64_t turns() const { return m_turns; }

    /// Shuts all connections down without a word to their servers, so that neither their transfers' end nor
    /// their own waits for an answer. libcurl takes leave of FTP and SSH servers, one after the other, and
    /// a silent one would hold it up for a second or for minutes.
    void breakOff();

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
    std::uint64_t m_turns = 0;
    std::vector<int> m_sockets;
};

} // namespace tarvo
