// The way to a D-Bus message bus, opened when there is something to say, and without waiting for the bus.
#pragma once

#include <functional>
#include <string>

#include <QDBusConnection>
#include <QDBusMessage>

namespace tarvo {

/// Costs nothing until connection() is first called, and never starts a bus. Main thread.
class DesktopBus {
public:
    /// `address` is a D-Bus server address, such as "unix:path=/run/dbus/system_bus_socket"; empty where
    /// there is no bus.
    explicit DesktopBus(std::string address);
    ~DesktopBus();
    DesktopBus(const DesktopBus&) = delete;
    DesktopBus& operator=(const DesktopBus&) = delete;

    /// Where the user's session has its bus (D-Bus Specification, "Well-known Message Bus Instances", and
    /// $XDG_RUNTIME_DIR/bus, where systemd listens). Empty without one.
    static std::string sessionAddress();
    static std::string systemAddress();

    /// Opens the connection if it isn't open. Only the socket is waited for: a bus that hangs makes calls
    /// wait for their answers, and nothing else. Not connected where there is no bus.
    QDBusConnection connection();

    /// Sends a call and hands the answer, which may be an error, to `answered` on a later turn of the main
    /// loop; not any more when `owner` is gone.
    void call(const QDBusMessage& message, QObject& owner,
              const std::function<void(const QDBusMessage& answer)>& answered);

    /// Has the slot SLOT(name(QDBusMessage)) of `receiver` called with each signal of that interface and name
    /// whose first argument is `first`; empty: any. Not any more when the receiver is gone, or the bus.
    void listen(const QString& interface, const QString& signal, const QString& first, QObject* receiver,
                const char* slot);

private:
    void open();
    void close();

    const std::string m_address;
    QString m_name; // of the present connection; empty: none
};

} // namespace tarvo
