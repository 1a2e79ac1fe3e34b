#include "platform/DesktopBus.h"

#include "base/Disk.h"
#include "base/Log.h"
#include "base/Runloop.h"

#include <cstdlib>

#include <QDBusError>
#include <QDBusPendingCallWatcher>

namespace tarvo {

namespace {

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

QString freshName() {
    static int number = 0;
    return QStringLiteral("tarvo-bus-%1").arg(++number);
}

} // namespace

DesktopBus::DesktopBus(std::string address) : m_address(std::move(address)) {
}

DesktopBus::~DesktopBus() {
    close();
}

std::string DesktopBus::sessionAddress() {
    const std::string named = variable("DBUS_SESSION_BUS_ADDRESS");
    if (!named.empty())
        return named;
    const std::string folder = variable("XDG_RUNTIME_DIR");
    return !folder.empty() && Disk::exists(folder + "/bus") ? "unix:path=" + folder + "/bus" : "";
}

std::string DesktopBus::systemAddress() {
    const std::string named = variable("DBUS_SYSTEM_BUS_ADDRESS");
    return named.empty() ? "unix:path=/run/dbus/system_bus_socket" : named;
}

QDBusConnection DesktopBus::connection() {
    Runloop::assertMain();
    if (!m_address.empty() && (m_name.isEmpty() || !QDBusConnection(m_name).isConnected())) {
        close();
        open();
    }
    return QDBusConnection(m_name);
}

void DesktopBus::call(const QDBusMessage& message, QObject& owner,
                      const std::function<void(const QDBusMessage&)>& answered) {
    Runloop::assertMain();
    const QDBusConnection bus = connection();
    const QDBusPendingCall pending =
        bus.isConnected() ? bus.asyncCall(message)
                          : QDBusPendingCall::fromError(
                                QDBusError(QDBusError::Disconnected, QStringLiteral("There is no bus")));
    auto* watcher = new QDBusPendingCallWatcher(pending, &owner);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, &owner, [watcher, answered] {
        watcher->deleteLater(); // and with it a file descriptor that came along and was not taken
        answered(watcher->reply());
    });
}

/// The rule is sent by hand: to Qt this is a peer, which sends all that it has without being asked.
void DesktopBus::listen(const QString& interface, const QString& signal, const QString& first,
                        QObject* receiver, const char* slot) {
    QDBusConnection bus = connection();
    if (!bus.isConnected())
        return;
    const QStringList firsts = first.isEmpty() ? QStringList() : QStringList{first};
    bus.connect({}, {}, interface, signal, firsts, {}, receiver, slot);
    QString rule = QStringLiteral("type='signal',interface='%1',member='%2'").arg(interface, signal);
    if (!first.isEmpty())
        rule += QStringLiteral(",arg0='%1'").arg(first);
    auto call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("AddMatch"));
    call << rule;
    bus.send(call);
}

/// QDBusConnection::connectToBus() returns when the bus has answered its greeting, which a bus that hangs
/// doesn't for 25 s. A connection to a peer is the same without the greeting; that is sent here, as the bus
/// wants to hear it before anything else (D-Bus Specification, org.freedesktop.DBus.Hello).
void DesktopBus::open() {
    m_name = freshName();
    const QDBusConnection opened = QDBusConnection::connectToPeer(QString::fromStdString(m_address), m_name);
    if (!opened.isConnected()) {
        Log::verbose("No bus at {}: {}", m_address, opened.lastError().message().toStdString());
        return;
    }
    opened.asyncCall(QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("Hello")));
}

void DesktopBus::close() {
    if (!m_name.isEmpty())
        QDBusConnection::disconnectFromPeer(m_name);
    m_name.clear();
}

} // namespace tarvo
