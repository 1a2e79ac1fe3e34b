// Tasks that run strictly one after another, in the order in which they were handed in.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <type_traits>

namespace tarvo {

/// A task on a serial queue never waits for the main thread: it returns what happened, and the caller
/// acts on it after the queue is released. Any thread may hand in tasks.
class SerialQueue {
public:
    explicit SerialQueue(std::string label);

    /// Waits for every task handed in so far.
    ~SerialQueue();

    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    /// Runs `task` on the queue's own thread, when its turn comes.
    void async(std::function<void()> task);

    /// Waits for the turn and runs `task` on the calling thread. Must not be called from a task of
    /// the same queue.
    template <class Task>
    auto sync(Task&& task) -> std::invoke_result_t<Task> {
        Turn turn(*this);
        return task();
    }

    /// Whether no task is running or waiting.
    bool isIdle();

    const std::string& label() const { return m_label; }

private:
    /// An entry of the queue: a task for the own thread, or (empty) a caller that waits for its turn.
    struct Entry {
        std::function<void()> task;
        bool started = false;
        std::condition_variable turn; // for the caller that waits; its own, so that no other wakes
    };

    /// The calling thread's turn, from construction to destruction.
    class Turn {
    public:
        explicit Turn(SerialQueue& queue);
        ~Turn();
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        SerialQueue& m_queue;
    };

    void work();
    void leaveFront();

    const std::string m_label;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Entry*> m_entries; // the front one is running or about to
    bool m_closing = false;
    std::thread m_thread; // started with the first asynchronous task
};

} // namespace tarvo
