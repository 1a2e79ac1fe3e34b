// A libcurl multi handle: the connections that one thread's transfers share.
#pragma once

#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "base/ThreadOwner.h"
#include "engine/transfer/CurlSegment.h"

namespace tarvo {

/// Owns the multi handle and its connection cache. Belongs to the thread that it is lent to
/// (ConnectionPools); only wakeup() may be called from others. Connections are never multiplexed: ten handles
/// are ten connections.
class ConnectionPool {
public:
    /// A transfer that libcurl has ended, with libcurl's result code.
    struct Ended {
        const CurlSegment* segment;
        int result;
    };

    ConnectionPool();

    /// Breaks off what is still open.
    ~ConnectionPool();

    ConnectionPool(const ConnectionPool&) = delete;
    ConnectionPool& operator=(const ConnectionPool&) = delete;

    /// The thread that has the pool. Until it is lent for the first time every thread may use it.
    ThreadOwner& owner() { return m_owner; }

    /// Takes a configured segment in, until remove(). It belongs to no other pool, ever. False when that was
    /// not possible: the segment has failed, and knows the reason.
    bool add(CurlSegment& segment);

    /// Of a transfer that has not ended, libcurl closes the connection: breakOff() first, or a silent server
    /// holds that up.
    void remove(CurlSegment& segment);

    /// Lets all transfers go on. Answers libcurl's result code (CURLcode); on any but 0 no transfer will
    /// come to an end.
    int perform();

    /// One of the transfers that have ended, each once; none when there is no more.
    std::optional<Ended> nextEnded();

    static constexpr std::int64_t kUnlimited = std::numeric_limits<std::int64_t>::max();

    /// All transfers together may bring so many bytes until this is called again; those that had to wait go
    /// on, the one that has waited longest first.
    void allow(std::int64_t bytes);

    /// A transfer is about to take a block. False, when there is nothing left: it is to be paused, and goes
    /// on with allow().
    bool mayTake(CurlSegment& segment);

    /// A transfer has taken a block.
    void noteArrived(std::int64_t bytes) {
        m_arrived += bytes;
        m_allowance -= bytes;
    }

    /// Bytes that all transfers have brought since the last time.
    std::int64_t takeArrived() { return std::exchange(m_arrived, 0); }

    bool areSomeWaiting() const { return !m_waiting.empty(); }

    /// How often perform() has been called.
    std::uint64_t turns() const { return m_turns; }

    /// Shuts all connections down without a word to their servers, so that neither their transfers' end nor
    /// their own waits for an answer. libcurl takes leave of FTP and SSH servers, one after the other, and
    /// a silent one would hold it up for a second or for minutes.
    void breakOff();

    /// The same for the connections of one segment alone.
    void breakOff(const CurlSegment& segment);

    /// To be told before each request: `segment` sends it over the connection of this local port.
    void noteUse(const CurlSegment& segment, int localPort);

    /// Waits until a socket is ready, libcurl wants to be called, or a wakeup() comes, at most `limit`
    /// (curl_multi_poll).
    void wait(std::chrono::milliseconds limit);

    /// Ends a wait() at once, the present one or the next. Any thread.
    void wakeup();

    /// How many sockets are open, in use or kept for the next transfer.
    std::size_t socketCount() const { return m_sockets.size(); }

private:
    struct Socket {
        int descriptor;
        const CurlSegment* user; // the one that uses it, or has used it last; null once that has left
        int localPort = 0;       // once it is known
    };

    /// What libcurl calls to open and close a socket, with the segment and the pool as the user pointers.
    struct Callbacks;

    ThreadOwner m_owner;
    void* m_multi;
    std::int64_t m_arrived = 0;
    std::int64_t m_allowance = kUnlimited;
    std::vector<CurlSegment*> m_waiting; // for the next allowance
    std::uint64_t m_turns = 0;
    std::vector<Socket> m_sockets;
};

} // namespace tarvo
