// Where blocking work runs: a thread for each task, all of them waited for.
#pragma once

#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

namespace tarvo {

/// The concurrent background queue: every task gets a thread of its own at once. Nothing is detached.
class WorkQueue {
public:
    WorkQueue() = default;

    /// Waits for every task. The tasks must have been asked to end before.
    ~WorkQueue();

    WorkQueue(const WorkQueue&) = delete;
    WorkQueue& operator=(const WorkQueue&) = delete;

    /// Runs `task` on a new thread. Any thread.
    void async(std::function<void()> task);

    /// Whether no task is running. Any thread.
    bool isIdle();

private:
    void reap(std::list<std::thread>& finished);

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::list<std::thread> m_running;
    std::list<std::thread> m_finished; // ended or about to, waiting to be joined
};

} // namespace tarvo
