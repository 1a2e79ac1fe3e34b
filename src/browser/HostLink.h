// The pipes to the application that has started the browser.
#pragma once

#include <optional>

#include <QObject>
#include <QSocketNotifier>

#include "browserlink/BrowserLines.h"
#include "browserlink/MessageLines.h"

namespace tarvo {

/// Main thread. Takes standard input and output for itself: what anything else prints goes to standard error.
class HostLink final : public QObject {
    Q_OBJECT

public:
    HostLink();

    /// Waits for the first message. None when it is no StartBrowser of this protocol. Before any other use,
    /// and before the application object.
    std::optional<StartBrowser> waitForStart();

    /// From now on messages are told as they come.
    void listen();

    void send(const FromBrowser& message);

Q_SIGNALS:
    void received(const tarvo::ToBrowser& message);
    /// The application is gone, or what it says can't be relied on.
    void ended();

private:
    bool readSome(const std::function<bool(std::string_view line)>& take);
    void read();

    int m_output = -1;
    BrowserLines m_lines;
    std::optional<QSocketNotifier> m_notifier;
    bool m_hasEnded = false;
};

} // namespace tarvo
