// Shows notices by way of the desktop's notification service.
#pragma once

#include <QObject>

#include "platform/DesktopBus.h"
#include "queue/UserNotices.h"

namespace tarvo {

/// Desktop Notifications Specification, org.freedesktop.Notifications. The service is asked before each
/// notice whether it reads markup in the text; notices are rare, and services come and go. Main thread.
class DesktopNotices final : public UserNotices {
public:
    /// `sessionBus` outlives the notices.
    explicit DesktopNotices(DesktopBus& sessionBus) : m_sessionBus(sessionBus) {}

    void deliver(const UserNotice& notice) override;

private:
    void notify(const UserNotice& notice, bool readsMarkup);

    DesktopBus& m_sessionBus;
    QObject m_calls; // with its end no answer arrives any more
};

} // namespace tarvo
