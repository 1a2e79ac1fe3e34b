#include "base/WorkQueue.h"

#include <algorithm>

namespace tarvo {

WorkQueue::~WorkQueue() {
    std::list<std::thread> finished;
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_running.empty(); });
        finished.swap(m_finished);
    }
    reap(finished);
}

void WorkQueue::async(std::function<void()> task) {
    std::list<std::thread> finished;
    {
        std::lock_guard lock(m_mutex);
        finished.swap(m_finished);
        m_running.emplace_back();
        auto position = std::prev(m_running.end());
        *position = std::thread([this, position, work = std::move(task)]() mutable {
            work();
            work = nullptr;
            std::lock_guard done(m_mutex);
            m_finished.splice(m_finished.end(), m_running, position);
            m_changed.notify_all();
        });
    }
    reap(finished);
}

bool WorkQueue::isIdle() {
    std::lock_guard lock(m_mutex);
    return m_running.empty();
}

void WorkQueue::reap(std::list<std::thread>& finished) {
    for (auto& thread : finished)
        thread.join();
}

} // namespace tarvo
