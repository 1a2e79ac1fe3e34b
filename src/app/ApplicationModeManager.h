// Keeps the places where the program shows itself as the setting "ApplicationMode" says.
#pragma once

#include <string_view>

#include <QObject>

#include "app/ApplicationPresence.h"
#include "base/NotificationCenter.h"
#include "base/Settings.h"

namespace tarvo {

inline constexpr std::string_view kApplicationModeManagerWillHideDockIcon =
    "kApplicationModeManagerWillHideDockIcon";
inline constexpr std::string_view kApplicationModeManagerDidHideDockIcon =
    "kApplicationModeManagerDidHideDockIcon";

/// Main thread.
class ApplicationModeManager : public QObject {
    Q_OBJECT

public:
    /// All of them outlive the manager.
    ApplicationModeManager(const UserDefaults& defaults, NotificationCenter& notifications,
                           ApplicationPresence& presence);

    /// From now on the setting is followed.
    void applicationDidFinishLaunching();

    ApplicationMode currentApplicationMode() const { return Settings(m_defaults).applicationMode(); }

    bool shouldShowStatusBarItem() const { return currentApplicationMode() != ApplicationMode::dockOnly; }

    bool shouldShowDockIcon() const { return currentApplicationMode() != ApplicationMode::menuBarOnly; }

    void applicationModeChanged();

private:
    const UserDefaults& m_defaults;
    NotificationCenter& m_notifications;
    ApplicationPresence& m_presence;
    bool m_showsStatusItem = false;
};

} // namespace tarvo
