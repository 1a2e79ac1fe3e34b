#include "base/ParallelQueue.h"

#include <algorithm>
#include <utility>

namespace tarvo {

ParallelQueue::ParallelQueue(std::string label) : m_label(std::move(label)) {
}

ParallelQueue::~ParallelQueue() {
    {
        std::lock_guard lock(m_mutex);
        m_closing = true;
    }
    m_changed.notify_all();
    for (std::thread& thread : m_threads)
        thread.join();
}

void ParallelQueue::setWidth(std::size_t width) {
    std::lock_guard lock(m_mutex);
    if (m_width == width)
        return;
    m_width = std::max<std::size_t>(width, 1);
    addThreads();
    m_changed.notify_all();
}

void ParallelQueue::async(std::function<void()> task) {
    std::lock_guard lock(m_mutex);
    m_waiting.push_back(std::move(task));
    addThreads();
    m_changed.notify_one();
}

bool ParallelQueue::isIdle() {
    std::lock_guard lock(m_mutex);
    return m_waiting.empty() && m_running == 0;
}

/// Under the lock.
void ParallelQueue::addThreads() {
    const std::size_t needed = std::min(m_width, m_running + m_waiting.size());
    while (m_threads.size() < needed)
        m_threads.emplace_back([this] { work(); });
}

void ParallelQueue::work() {
    std::unique_lock lock(m_mutex);
    while (true) {
        m_changed.wait(lock, [this] {
            const bool hasTurn = !m_waiting.empty() && m_running < m_width;
            return hasTurn || (m_closing && m_waiting.empty());
        });
        if (m_waiting.empty())
            return;
        std::function<void()> task = std::move(m_waiting.front());
        m_waiting.pop_front();
        ++m_running;
        lock.unlock();
        task();
        task = nullptr; // what it captured goes before the next one starts
        lock.lock();
        --m_running;
        m_changed.notify_all(); // a narrower queue may have kept others from a turn
    }
}

} // namespace tarvo
