#include "base/SerialQueue.h"

#include <memory>

namespace tarvo {

SerialQueue::SerialQueue(std::string label) : m_label(std::move(label)) {
}

SerialQueue::~SerialQueue() {
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_entries.empty(); });
        m_closing = true;
        m_changed.notify_all();
    }
    if (m_thread.joinable())
        m_thread.join();
}

void SerialQueue::async(std::function<void()> task) {
    auto entry = std::make_unique<Entry>();
    entry->task = std::move(task);
    std::lock_guard lock(m_mutex);
    m_entries.push_back(entry.release());
    if (!m_thread.joinable())
        m_thread = std::thread([this] { work(); });
    m_changed.notify_all();
}

bool SerialQueue::isIdle() {
    std::lock_guard lock(m_mutex);
    return m_entries.empty();
}

void SerialQueue::work() {
    std::unique_lock lock(m_mutex);
    while (true) {
        m_changed.wait(lock, [this] {
            return m_closing ||
                   (!m_entries.empty() && m_entries.front()->task && !m_entries.front()->started);
        });
        if (m_entries.empty())
            return;
        std::unique_ptr<Entry> entry(m_entries.front());
        entry->started = true;
        lock.unlock();
        entry->task();
        entry->task = nullptr; // what it captured goes before the next one starts
        lock.lock();
        leaveFront();
    }
}

void SerialQueue::leaveFront() {
    m_entries.pop_front();
    if (m_entries.empty() || m_entries.front()->task)
        m_changed.notify_all();
    else
        m_entries.front()->turn.notify_one();
}

SerialQueue::Turn::Turn(SerialQueue& queue) : m_queue(queue) {
    auto* entry = new Entry;
    std::unique_lock lock(m_queue.m_mutex);
    m_queue.m_entries.push_back(entry);
    entry->turn.wait(lock, [&] { return m_queue.m_entries.front() == entry; });
}

SerialQueue::Turn::~Turn() {
    std::lock_guard lock(m_queue.m_mutex);
    std::unique_ptr<Entry> mine(m_queue.m_entries.front());
    m_queue.leaveFront();
}

} // namespace tarvo
