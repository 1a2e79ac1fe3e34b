// Shows progress and a number on the program's icon, in docks and task bars that follow the Launcher API.
#pragma once

#include <QObject>
#include <QVariantMap>

#include "platform/DesktopBus.h"
#include "queue/LauncherBadge.h"

namespace tarvo {

/// com.canonical.Unity.LauncherEntry, which also the docks of other desktops read: a signal for each change,
/// and a method for who comes later. An icon forgets what it shows when the connection ends. Main thread.
class UnityLauncherBadge final : public QObject, public LauncherBadge {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.canonical.Unity.LauncherEntry")

public:
    /// `sessionBus` outlives the badge.
    explicit UnityLauncherBadge(DesktopBus& sessionBus) : m_sessionBus(sessionBus) {}

    void show(const LauncherStatus& status) override;

    /// Called over the bus.
    Q_SCRIPTABLE Q_INVOKABLE QString Query(QVariantMap& properties) const;

private:
    DesktopBus& m_sessionBus;
    LauncherStatus m_status;
};

} // namespace tarvo
