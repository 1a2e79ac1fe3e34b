#include "base/Runloop.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

#include "base/ThreadOwner.h"

namespace tarvo {

namespace {

/// One closure on its way to the main thread. The waiting worker and the queue share it.
struct Hop {
    std::function<void()> closure;
    std::uint64_t number = 0;       // in the order of handing in
    std::condition_variable served; // its own: the end of one hop wakes no other caller
    bool done = false;
    bool ran = false;
};

struct MainQueue {
    std::mutex mutex;
    std::deque<std::shared_ptr<Hop>> hops;
    std::uint64_t handedIn = 0;
    bool isEventPosted = false; // which will serve all that wait by then
    bool open = false;
    std::atomic<std::thread::id> mainThread;
    std::unique_ptr<QObject> receiver;
};

MainQueue& mainQueue() {
    static MainQueue queue;
    return queue;
}

void finish(MainQueue& queue, const std::shared_ptr<Hop>& hop, bool ran) {
    // What it captured goes on this thread, and not under the lock: it may be the last of something large.
    hop->closure = nullptr;
    {
        std::lock_guard lock(queue.mutex);
        hop->done = true;
        hop->ran = ran;
    }
    hop->served.notify_one();
}

/// Under the queue's lock.
void postEventIfNeeded(MainQueue& queue) {
    if (queue.hops.empty() || queue.isEventPosted || !queue.receiver)
        return;
    queue.isEventPosted = true;
    QCoreApplication::postEvent(queue.receiver.get(), new QEvent(QEvent::User));
}

void runWaitingHops() {
    MainQueue& queue = mainQueue();
    std::unique_lock lock(queue.mutex);
    queue.isEventPosted = false;
    // Hops that a closure adds get a turn of their own, so that events are served in between.
    const std::uint64_t last = queue.handedIn;
    while (!queue.hops.empty() && queue.hops.front()->number <= last) {
        auto hop = queue.hops.front();
        queue.hops.pop_front();
        // The closure may turn the loop itself, for a question to the user: the others are served there.
        postEventIfNeeded(queue);
        lock.unlock();
        hop->closure();
        finish(queue, hop, true);
        lock.lock();
    }
    postEventIfNeeded(queue);
}

class Receiver : public QObject {
    bool event(QEvent* event) override {
        if (event->type() != QEvent::User)
            return QObject::event(event);
        runWaitingHops();
        return true;
    }
};

std::shared_ptr<Hop> enqueue(std::function<void()> closure) {
    MainQueue& queue = mainQueue();
    auto hop = std::make_shared<Hop>();
    hop->closure = std::move(closure);
    std::lock_guard lock(queue.mutex);
    if (!queue.open)
        return nullptr;
    hop->number = ++queue.handedIn;
    queue.hops.push_back(hop);
    postEventIfNeeded(queue);
    return hop;
}

} // namespace

bool Runloop::isMainThread() {
    return mainQueue().mainThread == std::this_thread::get_id();
}

void Runloop::assertMain(std::source_location where) {
    // A program without a main loop, a fuzzer for instance, has no main thread that others could disturb.
    const std::thread::id mainThread = mainQueue().mainThread;
    assertThread(mainThread == std::thread::id() || mainThread == std::this_thread::get_id(), where);
}

bool Runloop::runOnMainAndWait(const std::function<void()>& closure) {
    if (isMainThread()) {
        closure();
        return true;
    }
    auto hop = enqueue(closure);
    if (!hop)
        return false;
    MainQueue& queue = mainQueue();
    std::unique_lock lock(queue.mutex);
    hop->served.wait(lock, [&] { return hop->done; });
    return hop->ran;
}

void Runloop::runOnMainLater(std::function<void()> closure) {
    if (isMainThread())
        closure();
    else
        enqueue(std::move(closure));
}

void Runloop::runOnNextTurn(std::function<void()> closure) {
    enqueue(std::move(closure));
}

Runloop::Main::Main() {
    MainQueue& queue = mainQueue();
    std::lock_guard lock(queue.mutex);
    queue.mainThread = std::this_thread::get_id();
    queue.receiver = std::make_unique<Receiver>();
    queue.isEventPosted = false;
    queue.open = true;
}

Runloop::Main::~Main() {
    MainQueue& queue = mainQueue();
    std::deque<std::shared_ptr<Hop>> stranded;
    std::unique_ptr<QObject> receiver;
    {
        std::lock_guard lock(queue.mutex);
        queue.open = false;
        stranded.swap(queue.hops);
        receiver = std::move(queue.receiver);
    }
    for (const auto& hop : stranded)
        finish(queue, hop, false);
}

} // namespace tarvo
