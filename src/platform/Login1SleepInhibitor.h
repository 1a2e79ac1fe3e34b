// Keeps the computer awake by way of systemd's login manager.
#pragma once

#include <map>

#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>
#include <QObject>

#include "platform/DesktopBus.h"
#include "queue/SleepInhibitor.h"

namespace tarvo {

/// A request is an inhibitor lock of org.freedesktop.login1 (org.freedesktop.login1(5), "Inhibit"): a file
/// descriptor that is held for as long as the request. The lock is of sleeping and of idleness; where the
/// policy refuses that, as it does a user who doesn't sit at the machine, of idleness alone. Main thread.
class Login1SleepInhibitor final : public SleepInhibitor {
public:
    /// `systemBus` outlives the inhibitor.
    explicit Login1SleepInhibitor(DesktopBus& systemBus) : m_systemBus(systemBus) {}

    /// The outcome is EACCES when refused, ENOENT without a login manager, ENOTCONN without a bus,
    /// ETIMEDOUT without an answer, EIO for anything else.
    std::uint32_t inhibit(const std::string& reason, std::function<void(int result)> outcome) override;

    void release(std::uint32_t id) override;

private:
    struct Request {
        std::string reason;
        std::function<void(int)> outcome;
        QDBusUnixFileDescriptor lock; // closed with its last copy
    };

    void ask(std::uint32_t id, const QString& what);
    void answered(std::uint32_t id, const QString& what, const QDBusMessage& answer);

    DesktopBus& m_systemBus;
    std::map<std::uint32_t, Request> m_requests;
    std::uint32_t m_lastId = 0;
    QObject m_calls; // with its end no answer arrives any more
};

} // namespace tarvo
