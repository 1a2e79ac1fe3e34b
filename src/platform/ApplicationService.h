// The program as the desktop calls it: org.freedesktop.Application on the session's bus.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <QDBusContext>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

#include "platform/DesktopBus.h"

namespace tarvo {

/// What others may ask of the running program. Main thread. `activationToken` is what the desktop gave them
/// for a window that comes to the front (XDG Activation, Startup Notification); it may be empty.
struct ApplicationRequests {
    std::function<void(const std::string& activationToken)> activate;
    /// Addresses, API calls, and unfinished downloads as file URLs. Calls `answered` once what was taken of
    /// them is kept over the end of the program.
    std::function<void(const std::vector<std::string>& uris, const std::string& activationToken,
                       const std::function<void()>& answered)>
        open;
    std::function<void(const std::string& action, const std::string& activationToken)> activateAction;
};

/// Desktop Entry Specification, "D-Bus Activation". The object of the name com.unregistered.Tarvo. Without a
/// bus there is none, quietly. Main thread.
class ApplicationService final : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    static constexpr const char* kName = "com.unregistered.Tarvo";
    static constexpr const char* kPath = "/com/unregistered/Tarvo";

    /// What one call of Open may bring.
    static constexpr qsizetype kMostUris = 10'000;
    static constexpr qsizetype kMostCharacters = qsizetype{4} << 20;

    /// `sessionBus` outlives the service.
    ApplicationService(DesktopBus& sessionBus, ApplicationRequests requests);

    /// Puts the object on the bus and takes the name.
    void start();

    // Called over the bus.
    Q_SCRIPTABLE Q_INVOKABLE void Activate(const QVariantMap& platformData);
    Q_SCRIPTABLE Q_INVOKABLE void Open(const QStringList& uris, const QVariantMap& platformData);
    Q_SCRIPTABLE Q_INVOKABLE void ActivateAction(const QString& name, const QVariantList& parameter,
                                                 const QVariantMap& platformData);

private:
    DesktopBus& m_sessionBus;
    const ApplicationRequests m_requests;
};

} // namespace tarvo
