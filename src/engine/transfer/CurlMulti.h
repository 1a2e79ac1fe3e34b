// The loop that drives all connections of one job, on the job's transfer thread.
#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <vector>

#include "base/Error.h"
#include "base/Locked.h"
#include "base/ThreadOwner.h"
#include "engine/transfer/ConnectionPools.h"
#include "engine/transfer/CurlDownloader.h"

namespace tarvo {

class CurlMulti;

/// Hears of a loop that runs, on the transfer thread. In each call it may add children, have others end
/// earlier (CurlDownloader::endAt) and make requests.
class CurlMultiDelegate {
public:
    virtual ~CurlMultiDelegate() = default;

    /// `child` has come to its end: its state and its segment's error say how, and the loop has done with it.
    virtual void childHasEnded(CurlMulti& loop, CurlDownloader& child) = 0;

    /// A turn is over: after each piece of work, at least ten times a second, or about once a second while
    /// all children are paused.
    virtual void loopHasTurned(CurlMulti& /*loop*/) {}
};

/// Serves one run. downloadAndBlock() belongs to the transfer thread; all else may be called from any
/// thread, and the requests are noticed at once.
///
/// One thread drives all connections, so what holds libcurl up on one of them holds up all: at the ordinary
/// end of an FTP or SFTP transfer it waits for the server's last word, a minute at the most, and until then
/// nothing but a stop is noticed. What is stopped or ended early does not get so far: its own connection is
/// broken off, and those of the others stay.
class CurlMulti {
public:
    using Children = std::vector<std::shared_ptr<CurlDownloader>>;

    /// A pool is borrowed from `pools` for the run, by the first child's address and credentials. All
    /// children go to the same server.
    CurlMulti(Children downloaders, std::shared_ptr<ConnectionPools> pools);

    /// Before the run.
    void setDelegate(std::weak_ptr<CurlMultiDelegate> delegate) { m_delegate = std::move(delegate); }

    /// All children so far, in the order in which they were added, those that have ended too unless they were
    /// dropped.
    Children downloaders() const { return m_shared.lock()->children; }

    /// Adds a child, which starts within the run's next turn, or paused where a pause was asked for. False
    /// when the run has ended or was asked to stop: then the child is not taken, and never starts.
    bool add(std::shared_ptr<CurlDownloader> child);

    /// Lets go of the children that have ended. On the transfer thread, during the run.
    void dropEnded();

    /// Runs all transfers to their end, or until every unfinished one has been stopped, which waits for no
    /// server. Each child ends when its transfer does. The run ends with the last of them, and at once
    /// without any.
    void downloadAndBlock();

    void requestPause();
    void requestResume();

    /// Final: what is asked for later has no effect.
    void requestStop();

    /// The error of the first child, in their order, whose segment has one. After the run.
    std::optional<Error> error() const;

private:
    struct Shared {
        Children children;
        std::size_t started = 0; // how many of them the run has begun with
        bool isPaused = false;
        bool isStopped = false;
        bool hasEnded = false;
        std::shared_ptr<ConnectionPool> pool{}; // during the run, for those who wake it
    };

    using Active = std::vector<CurlDownloader*>;

    std::shared_ptr<ConnectionPool> begin();
    bool hasWork();
    void startNewcomers(ConnectionPool& pool);
    void turn(ConnectionPool& pool, const Active& newcomers);
    void endTurn(ConnectionPool& pool, int failure);
    void endWhatLibcurlHasEnded(ConnectionPool& pool);
    void endWhatIsToEnd(ConnectionPool& pool, int failure);
    void breakOff(ConnectionPool& pool, CurlDownloader& child, int result);
    void end(ConnectionPool& pool, CurlDownloader& child, int result);
    bool areAllPaused() const;
    void requestOfAll(void (CurlDownloader::*request)(), Shared& shared);

    ThreadOwner m_owner; // the transfer thread, during the run
    const std::shared_ptr<ConnectionPools> m_pools;
    std::weak_ptr<CurlMultiDelegate> m_delegate;
    mutable Locked<Shared> m_shared;
    std::atomic<bool> m_hasNewcomers{true}; // so that a turn needs no lock to see that there are none
    Active m_active;                        // the transfer thread's: those that are in the pool
};

} // namespace tarvo
