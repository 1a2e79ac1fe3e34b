// Ctrl-C, SIGTERM and the terminal's closing as something the main loop hears of.
#pragma once

#include <functional>

#include <QSocketNotifier>

namespace tarvo {

/// While it lives, the first SIGINT, SIGTERM or SIGHUP calls `interrupted` on the main thread; the second
/// ends the process at once with status 130. One per process.
class Interrupt {
public:
    explicit Interrupt(std::function<void()> interrupted);
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    /// What must not be left behind when the second signal ends the process. Called inside the signal's
    /// handler: async-signal-safe calls only (signal-safety(7)). Any thread; null: nothing.
    static void beforeAbruptEnd(void (*restore)());

private:
    QSocketNotifier m_notifier;
};

} // namespace tarvo
