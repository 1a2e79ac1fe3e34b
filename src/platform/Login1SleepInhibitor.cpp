#include "platform/Login1SleepInhibitor.h"

#include "base/Log.h"
#include "base/Runloop.h"

#include <cerrno>

#include <QDBusError>

namespace tarvo {

namespace {

const QString kSleepAndIdle = QStringLiteral("idle:sleep");
const QString kIdle = QStringLiteral("idle");

int errnoOf(const QDBusError& error) {
    switch (error.type()) {
    case QDBusError::AccessDenied:
        return EACCES;
    case QDBusError::ServiceUnknown:
        return ENOENT;
    case QDBusError::Disconnected:
    case QDBusError::NoServer:
        return ENOTCONN;
    case QDBusError::NoReply:
    case QDBusError::TimedOut:
    case QDBusError::Timeout:
        return ETIMEDOUT;
    default:
        // The policy would allow it after a question to the user: a download is no reason to ask.
        return error.name() == QLatin1String("org.freedesktop.DBus.Error.InteractiveAuthorizationRequired")
                   ? EACCES
                   : EIO;
    }
}

} // namespace

std::uint32_t Login1SleepInhibitor::inhibit(const std::string& reason, std::function<void(int)> outcome) {
    Runloop::assertMain();
    do {
        ++m_lastId;
    } while (m_lastId == 0 || m_requests.contains(m_lastId));
    m_requests[m_lastId] = {reason, std::move(outcome), {}};
    ask(m_lastId, kSleepAndIdle);
    return m_lastId;
}

void Login1SleepInhibitor::release(std::uint32_t id) {
    Runloop::assertMain();
    m_requests.erase(id);
}

void Login1SleepInhibitor::ask(std::uint32_t id, const QString& what) {
    auto call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
        QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("Inhibit"));
    call << what << QStringLiteral("Tarvo") << QString::fromStdString(m_requests.at(id).reason)
         << QStringLiteral("block");
    m_systemBus.call(call, m_calls,
                     [this, id, what](const QDBusMessage& answer) { answered(id, what, answer); });
}

void Login1SleepInhibitor::answered(std::uint32_t id, const QString& what, const QDBusMessage& answer) {
    Runloop::assertMain();
    const auto found = m_requests.find(id);
    if (found == m_requests.end())
        return;
    const auto lock = answer.arguments().value(0).value<QDBusUnixFileDescriptor>();
    const bool refused = answer.type() == QDBusMessage::ErrorMessage;
    const int result = refused ? errnoOf(QDBusError(answer)) : lock.isValid() ? 0 : EIO;
    if (refused)
        Log::verbose("The login manager answered a request to inhibit {}: {}", what.toStdString(),
                     answer.errorMessage().toStdString());
    if (result == EACCES && what == kSleepAndIdle) {
        ask(id, kIdle);
        return;
    }
    found->second.lock = lock;
    if (const auto outcome = std::exchange(found->second.outcome, nullptr))
        outcome(result); // may release the request
}

} // namespace tarvo
