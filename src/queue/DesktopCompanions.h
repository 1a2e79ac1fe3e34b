// What the queue does to the desktop around it: sleep, notices, the launcher's icon, the program's own end.
#pragma once

#include <functional>

#include "base/NotificationCenter.h"
#include "base/UserDefaults.h"
#include "queue/AutomaticTerminationUpdater.h"
#include "queue/LauncherStatusFeeder.h"
#include "queue/QuitAndSleepManager.h"
#include "queue/UserNotifier.h"

namespace tarvo {

/// The desktop's ports, and whether the program has a window to be seen.
struct QueueDesktop {
    SleepInhibitor& sleep;
    AutomaticTermination& termination;
    UserNotices& notices;
    LauncherBadge& badge;
    std::function<bool()> windowIsVisible;
    FileActions files{}; ///< of notices about finished files
};

/// Main thread.
class DesktopCompanions {
public:
    /// Everything referred to outlives it.
    DesktopCompanions(const QueueDesktop& desktop, const RemoteFilesArrayController& remoteFiles,
                      NotificationCenter& notifications, const UserDefaults& defaults)
        : m_remoteFiles(remoteFiles), m_sleepManager(desktop.sleep),
          m_termination(desktop.windowIsVisible, remoteFiles, defaults, desktop.termination),
          m_userNotifier(remoteFiles, notifications, desktop.notices, desktop.files),
          m_launcherStatus(remoteFiles, notifications, defaults, desktop.badge) {}

    /// To be called every second.
    void tick() {
        m_sleepManager.setActiveDownloads(m_remoteFiles.runningJobs());
        m_termination.updateAutomaticTerminationStatus();
    }

private:
    const RemoteFilesArrayController& m_remoteFiles;
    QuitAndSleepManager m_sleepManager;
    AutomaticTerminationUpdater m_termination;
    UserNotifier m_userNotifier;
    LauncherStatusFeeder m_launcherStatus;
};

} // namespace tarvo
