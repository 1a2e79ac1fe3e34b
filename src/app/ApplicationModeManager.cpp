#include "app/ApplicationModeManager.h"

#include "base/Runloop.h"
#include "base/SettingKeys.h"

namespace tarvo {

ApplicationModeManager::ApplicationModeManager(const UserDefaults& defaults,
                                               NotificationCenter& notifications,
                                               ApplicationPresence& presence)
    : m_defaults(defaults), m_notifications(notifications), m_presence(presence) {
}

void ApplicationModeManager::applicationDidFinishLaunching() {
    Runloop::assertMain();
    connect(&m_defaults, &UserDefaults::changed, this, [this](const std::string& key) {
        if (key == SettingKey::kApplicationMode)
            applicationModeChanged();
    });
    applicationModeChanged();
}

void ApplicationModeManager::applicationModeChanged() {
    Runloop::assertMain();
    if (shouldShowStatusBarItem() != m_showsStatusItem) {
        m_showsStatusItem = !m_showsStatusItem;
        if (m_showsStatusItem)
            m_presence.showStatusItem();
        else
            m_presence.removeStatusItem();
    }
    if (shouldShowDockIcon()) {
        m_presence.setIconVisible(true);
        return;
    }
    m_notifications.post(kApplicationModeManagerWillHideDockIcon, nullptr);
    m_presence.setIconVisible(false);
    m_notifications.post(kApplicationModeManagerDidHideDockIcon, nullptr);
}

} // namespace tarvo
