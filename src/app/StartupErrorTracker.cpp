#include "app/StartupErrorTracker.h"

#include "base/Localized.h"
#include "base/Runloop.h"
#include "base/SettingKeys.h"

namespace tarvo {

namespace {

constexpr std::size_t kReset = 0;
constexpr std::size_t kEmailSupport = 2;

} // namespace

StartupErrorTracker::StartupErrorTracker(UserDefaults& defaults, AlertPresenter& alerts,
                                         std::function<void()> emailSupport)
    : m_defaults(defaults), m_alerts(alerts), m_emailSupport(std::move(emailSupport)) {
}

void StartupErrorTracker::beginGuard() {
    Runloop::assertMain();
    if (m_defaults.boolean(SettingKey::kHasStartupCrash)) {
        const std::size_t button =
            m_alerts.runAlert(localized("tr.preferences.reset.title"), localized("tr.startup-err-message"),
                              {localized("Reset"), localized("Cancel"), localized("Email Support")});
        if (button == kReset) {
            m_defaults.removeAll();
            m_defaults.flush();
        } else if (button == kEmailSupport) {
            m_emailSupport();
        }
    }
    setFlag(true);
}

void StartupErrorTracker::lowerGuard() {
    Runloop::assertMain();
    setFlag(false);
}

void StartupErrorTracker::setFlag(bool raised) {
    m_defaults.set(SettingKey::kHasStartupCrash, raised);
    m_defaults.flush();
}

} // namespace tarvo
