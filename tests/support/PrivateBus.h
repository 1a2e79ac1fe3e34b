// A message bus of the test's own, with services on it that python3-dbusmock plays.
#pragma once

#include "support/ServerProcess.h"
#include "support/TurnUntil.h"

#include <memory>
#include <string>
#include <vector>

#include <QDBusConnection>
#include <QDBusMessage>
#include <gtest/gtest.h>

namespace tarvo::test {

class PrivateBus {
public:
    ~PrivateBus() { QDBusConnection::disconnectFromBus(m_name); }

    /// Where the bus is, once it runs.
    std::string address() const { return "unix:path=" + m_folder.path("bus"); }

    /// `session`: the environment ("NAME=VALUE") of the services that the bus starts when they are called. An
    /// empty one means that it starts none.
    void start(const std::vector<std::string>& session = {}) {
        const std::string settings = m_folder.write(
            "bus.conf", "<busconfig><type>session</type><listen>" + address() + "</listen>" +
                            (session.empty() ? "" : "<standard_session_servicedirs/>") +
                            "<auth>EXTERNAL</auth><policy context=\"default\">"
                            "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
                            "<allow own=\"*\"/></policy></busconfig>");
        std::vector<std::string> command{"/usr/bin/env"};
        command.insert(command.end(), session.begin(), session.end());
        command.insert(command.end(),
                       {programPath("dbus-daemon", "dbus"), "--nofork", "--config-file=" + settings});
        m_bus.start(command, m_folder.path("bus.log"), {});
        const auto accepts = [&] {
            QDBusConnection::disconnectFromBus(m_name); // one that failed would be answered again
            return connection().isConnected();
        };
        ASSERT_TRUE(turnUntil(accepts)) << contentOf(m_folder.path("bus.log"));
    }

    /// From here on it takes connections and never answers.
    void freeze() const { m_bus.freeze(); }

    void stop() { m_bus.stop(); }

    /// Plays the service `name`: a template of dbusmock, or name, path and interface of an empty one.
    void play(const std::string& name, const std::vector<std::string>& arguments) {
        // Debian's own python: another one knows nothing of Debian's modules.
        std::vector<std::string> command = arguments;
        command.insert(command.begin(),
                       {"/usr/bin/env", "DBUS_SESSION_BUS_ADDRESS=" + address(),
                        "DBUS_SYSTEM_BUS_ADDRESS=" + address(), "/usr/bin/python3", "-m", "dbusmock"});
        m_services.push_back(std::make_unique<ServerProcess>());
        m_services.back()->start(command, m_folder.path("service.log"), {});
        ASSERT_TRUE(turnUntil([&] { return has(name); }))
            << "Debian package python3-dbusmock: " << contentOf(m_folder.path("service.log"));
    }

    /// Whether a program owns the name.
    bool has(const std::string& name) {
        const auto answer = call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                 "NameHasOwner", {QString::fromStdString(name)});
        return answer.arguments().value(0).toBool();
    }

    /// The test's own way to the bus.
    QDBusConnection connection() {
        return QDBusConnection::connectToBus(QString::fromStdString(address()), m_name);
    }

    /// Calls and waits.
    QDBusMessage call(const char* service, const char* path, const char* interface, const char* method,
                      const QVariantList& arguments = {}) {
        auto message = QDBusMessage::createMethodCall(service, path, interface, method);
        message.setArguments(arguments);
        return connection().call(message);
    }

private:
    TemporaryFolder m_folder;
    const QString m_name = QString::fromStdString(m_folder.path());
    ServerProcess m_bus;
    std::vector<std::unique_ptr<ServerProcess>> m_services;
};

} // namespace tarvo::test
