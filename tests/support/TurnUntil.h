// Waiting for what another thread, a server or the main loop itself does.
#pragma once

#include <chrono>
#include <thread>

#include <QCoreApplication>
#include <QDeadlineTimer>

namespace tarvo::test {

/// Turns the main loop until `done` answers true; false when that took longer than `limit`.
template <class Condition>
bool turnUntil(Condition done, std::chrono::milliseconds limit = std::chrono::seconds(30)) {
    const QDeadlineTimer deadline(limit);
    while (!done()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/// How long `action` takes.
template <class Action>
std::chrono::steady_clock::duration timeOf(Action action) {
    const auto begin = std::chrono::steady_clock::now();
    action();
    return std::chrono::steady_clock::now() - begin;
}

} // namespace tarvo::test
