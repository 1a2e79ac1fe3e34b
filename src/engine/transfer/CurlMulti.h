// The loop that drives all connections of one job, on the job's transfer thread.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "base/Error.h"
#include "base/Locked.h"
#include "engine/transfer/ConnectionPools.h"
#include "engine/transfer/CurlDownloader.h"

namespace tarvo {

/// Serves one run. downloadAndBlock() belongs to the transfer thread; the requests may come from any
/// thread and are noticed at once.
class CurlMulti {
public:
    /// A pool is borrowed from `pools` for the run.
    CurlMulti(std::vector<std::shared_ptr<CurlDownloader>> downloaders,
              std::shared_ptr<ConnectionPools> pools);

    const std::vector<std::shared_ptr<CurlDownloader>>& downloaders() const { return m_children; }

    /// Runs all transfers to their end, or until every unfinished one has been stopped, which waits for no
    /// server. The ends are reported to the downloaders only after the last of them.
    void downloadAndBlock();

    /// Whether every child is paused; true without children.
    bool allHandlesPaused() const;

    void requestPause();
    void requestResume();
    void requestStop();

    /// The error of the first child, in their order, whose segment has one.
    std::optional<Error> error() const;

private:
    struct Completion {
        CurlDownloader* child;
        int result;
    };

    void start(ConnectionPool& pool);
    void perform(ConnectionPool& pool);
    void readMessages(ConnectionPool& pool);
    bool isFinished(const CurlDownloader& child) const;
    bool applyRequestsAndCheckForStop();
    void deliverCompletions(ConnectionPool& pool);
    void wakeup();

    const std::vector<std::shared_ptr<CurlDownloader>> m_children;
    const std::shared_ptr<ConnectionPools> m_pools;
    Locked<std::shared_ptr<ConnectionPool>> m_lease; // during the run, for those who wake it
    std::vector<Completion> m_completions;
    int m_running = 0;
    int m_failure = 0; // libcurl's result code when the loop itself could not go on
};

} // namespace tarvo
