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

private:
    QSocketNotifier m_notifier;
};

} // namespace tarvo
