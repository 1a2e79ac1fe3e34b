// Shows notices by way of the desktop's notification service.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <QObject>

#include "platform/DesktopBus.h"
#include "queue/UserNotices.h"

namespace tarvo {

/// Desktop Notifications Specification, org.freedesktop.Notifications. The service is asked before each
/// notice whether it reads markup in the text and has buttons; notices are rare, and services come and go.
/// Main thread.
class DesktopNotices final : public QObject, public UserNotices {
    Q_OBJECT

public:
    /// `sessionBus` outlives the notices.
    explicit DesktopNotices(DesktopBus& sessionBus) : m_sessionBus(sessionBus) {}

    void deliver(const UserNotice& notice) override;

private:
    // Signals of the service, about any program's notices.
    Q_SLOT void tokenGiven(const QDBusMessage& signal);
    Q_SLOT void buttonPressed(const QDBusMessage& signal);
    Q_SLOT void noticeClosed(const QDBusMessage& signal);

    void notify(const UserNotice& notice, const QStringList& capabilities);
    void listen();

    DesktopBus& m_sessionBus;
    QString m_listensOn;                                 // name of the connection
    std::map<uint, std::vector<NoticeButton>> m_buttons; // of the notices that can be seen, by their numbers
    std::map<uint, std::string> m_tokens;                // for the button that is about to be told pressed
};

} // namespace tarvo
