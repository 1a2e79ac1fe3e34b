// Notices that the last start has not reached its end, and offers to reset what may be the cause.
#pragma once

#include <functional>

#include "base/UserDefaults.h"
#include "queue/AlertPresenter.h"

namespace tarvo {

/// Main thread. The guard is a setting that is true from the beginning of a start to its end.
class StartupErrorTracker {
public:
    /// `emailSupport` opens a letter to the support address. All of it outlives the tracker.
    StartupErrorTracker(UserDefaults& defaults, AlertPresenter& alerts, std::function<void()> emailSupport);

    /// Raises the guard. Found raised, it asks first whether to reset the settings.
    void beginGuard();

    /// The start has reached its end.
    void lowerGuard();

private:
    void setFlag(bool raised);

    UserDefaults& m_defaults;
    AlertPresenter& m_alerts;
    const std::function<void()> m_emailSupport;
};

} // namespace tarvo
