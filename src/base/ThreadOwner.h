// Which thread a thing belongs to, said where a violation is noticed.
#pragma once

#include <atomic>
#include <source_location>
#include <thread>

namespace tarvo {

/// Notices what happens on another thread than it should: a logged assertion where the program is used, the
/// end of the process where it is tested (a build without NDEBUG), so that no test passes by luck.
void assertThread(bool isRight, std::source_location where);

/// The thread that has something now, for what is handed from thread to thread. All calls from any thread.
class ThreadOwner {
public:
    /// The calling thread has it from now on.
    void take() { m_thread = std::this_thread::get_id(); }

    /// No thread has it until it is taken again.
    void giveUp() { m_thread = std::thread::id(); }

    /// Notices a caller on another thread than the one that has it; what no thread has, every thread may use.
    void assertIsHere(std::source_location where = std::source_location::current()) const {
        const std::thread::id owner = m_thread;
        assertThread(owner == std::thread::id() || owner == std::this_thread::get_id(), where);
    }

private:
    std::atomic<std::thread::id> m_thread;
};

} // namespace tarvo
