// Tasks that begin in the order in which they were handed in, so many at the same time.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tarvo {

/// Any thread may call it, but for its end. A task may wait for the main thread, which therefore never waits
/// for a task.
class ParallelQueue {
public:
    explicit ParallelQueue(std::string label);

    /// Waits for every task handed in so far.
    ~ParallelQueue();

    ParallelQueue(const ParallelQueue&) = delete;
    ParallelQueue& operator=(const ParallelQueue&) = delete;

    /// How many tasks run at once from now on, at least 1, which it is at first. Those that run already go
    /// on.
    void setWidth(std::size_t width);

    /// Runs `task` on a thread of the queue, when its turn comes.
    void async(std::function<void()> task);

    /// Whether no task is running or waiting.
    bool isIdle();

    const std::string& label() const { return m_label; }

private:
    void addThreads();
    void work();

    const std::string m_label;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::function<void()>> m_waiting;
    std::vector<std::thread> m_threads; // come with the first tasks that need them, and stay
    std::size_t m_width = 1;
    std::size_t m_running = 0;
    bool m_closing = false;
};

} // namespace tarvo
