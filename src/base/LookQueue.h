// Where a disk is asked for what only the user wants to see, and not for longer than the user does.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

namespace tarvo {

/// Background work that only looks, and that nothing is lost with. The end does not wait for a disk that
/// owes an answer, as one in a network may for minutes: it drops what has not begun and, after kGrace, leaves
/// behind what has. So a look owns whatever it touches, or that lives as long as the process. A program
/// during whose run something was left behind ends with leaveIfAnyIsLeft().
class LookQueue {
public:
    static constexpr std::chrono::milliseconds kGrace{500};
    static constexpr std::chrono::milliseconds kGraceAfterOthers{50}; // while any is left: the end is one

    /// `most` looks at a time, the others wait.
    explicit LookQueue(std::size_t most = 1);

    ~LookQueue();

    LookQueue(const LookQueue&) = delete;
    LookQueue& operator=(const LookQueue&) = delete;

    /// Any thread.
    void async(std::function<void()> look);

    /// How many looks of queues that are gone have not come back. Any thread.
    static std::size_t left();

    /// Ends the process at once with `status`, if any is left: what it would touch then is being taken down.
    /// To be called when all is saved.
    static void leaveIfAnyIsLeft(int status);

private:
    struct State {
        std::mutex mutex;
        std::condition_variable changed;
        std::deque<std::function<void()>> waiting;
        std::size_t running = 0;
        bool isOver = false;
        bool isLeft = false; // the queue is gone, and something was running
    };

    static void work(const std::shared_ptr<State>& state);

    const std::size_t m_most;
    const std::shared_ptr<State> m_state;
};

} // namespace tarvo
