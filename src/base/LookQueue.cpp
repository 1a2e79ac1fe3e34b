#include "base/LookQueue.h"

#include "base/Log.h"

#include <atomic>
#include <cstdio>
#include <thread>
#include <utility>

#include <unistd.h>

namespace tarvo {

namespace {

std::atomic<std::size_t> leftBehind{0};

} // namespace

LookQueue::LookQueue(std::size_t most) : m_most(most), m_state(std::make_shared<State>()) {
}

LookQueue::~LookQueue() {
    std::unique_lock lock(m_state->mutex);
    m_state->isOver = true;
    const auto dropped = std::exchange(m_state->waiting, {});
    const auto grace = leftBehind == 0 ? kGrace : kGraceAfterOthers;
    if (m_state->changed.wait_for(lock, grace, [this] { return m_state->running == 0; }))
        return;
    m_state->isLeft = true;
    leftBehind += m_state->running;
}

void LookQueue::async(std::function<void()> look) {
    const std::lock_guard lock(m_state->mutex);
    m_state->waiting.push_back(std::move(look));
    if (m_state->running == m_most)
        return;
    ++m_state->running;
    std::thread([state = m_state] { work(state); }).detach();
}

void LookQueue::work(const std::shared_ptr<State>& state) {
    std::unique_lock lock(state->mutex);
    while (!state->waiting.empty()) {
        auto look = std::move(state->waiting.front());
        state->waiting.pop_front();
        lock.unlock();
        look();
        look = nullptr; // what it captured goes before the next one starts
        lock.lock();
    }
    --state->running;
    if (state->isLeft)
        --leftBehind;
    state->changed.notify_all(); // under the lock: without it the state may go at any moment
}

std::size_t LookQueue::left() {
    return leftBehind;
}

void LookQueue::leaveIfAnyIsLeft(int status) {
    if (leftBehind == 0)
        return;
    Log::warning("A disk still owes an answer at the end");
    std::fflush(nullptr);
    ::_exit(status);
}

} // namespace tarvo
