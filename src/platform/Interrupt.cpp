#include "platform/Interrupt.h"

#include <atomic>
#include <csignal>

#include <fcntl.h>
#include <unistd.h>

namespace tarvo {

namespace {

constexpr int kInterruptedStatus = 130;

int pipeEnds[2] = {-1, -1};
std::atomic<int> signalsSeen{0};
std::atomic<void (*)()> restoreBeforeEnd{nullptr};

void onSignal(int) {
    if (signalsSeen.fetch_add(1) > 0) {
        if (auto* const restore = restoreBeforeEnd.load())
            restore();
        ::_exit(kInterruptedStatus);
    }
    const char wake = '!';
    [[maybe_unused]] const auto ignored = ::write(pipeEnds[1], &wake, 1);
}

/// Made once and never closed: a handler may still be writing to it on another thread.
int emptyPipe() {
    if (pipeEnds[0] < 0) [[maybe_unused]]
        const int ignored = ::pipe2(pipeEnds, O_CLOEXEC | O_NONBLOCK);
    char byte = 0;
    while (::read(pipeEnds[0], &byte, 1) > 0) {
    }
    return pipeEnds[0];
}

void handle(int signal, void (*handler)(int)) {
    struct sigaction action {};

    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    ::sigaction(signal, &action, nullptr);
}

bool isIgnored(int signal) {
    struct sigaction action {};

    return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

} // namespace

Interrupt::Interrupt(std::function<void()> interrupted) : m_notifier(emptyPipe(), QSocketNotifier::Read) {
    QObject::connect(&m_notifier, &QSocketNotifier::activated, &m_notifier,
                     [this, call = std::move(interrupted)] {
                         m_notifier.setEnabled(false);
                         call();
                     });
    handle(SIGINT, onSignal);
    handle(SIGTERM, onSignal);
    if (!isIgnored(SIGHUP)) // as nohup(1) leaves it
        handle(SIGHUP, onSignal);
    handle(SIGPIPE, SIG_IGN);
}

void Interrupt::beforeAbruptEnd(void (*restore)()) {
    restoreBeforeEnd = restore;
}

Interrupt::~Interrupt() {
    handle(SIGINT, SIG_DFL);
    handle(SIGTERM, SIG_DFL);
    m_notifier.setEnabled(false);
}

} // namespace tarvo
