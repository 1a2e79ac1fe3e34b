// Shows on the program's icon in the launcher how the downloads are doing.
#pragma once

#include "base/NotificationCenter.h"
#include "base/UserDefaults.h"
#include "queue/LauncherBadge.h"
#include "queue/RemoteFileCollectionStats.h"
#include "queue/RemoteFilesArrayController.h"

namespace tarvo {

/// The bar is the batch's progress in whole percents (setting ShowDockProgress), the number its speed in
/// KiB/s (ShowDockSpeed), which is not shown while it rounds to 0. Both only while a job is prepared, runs or
/// is paused, and for kGrace broadcasts more while other jobs wait: they need a moment to start. The badge is
/// told only what changes. Main thread.
class LauncherStatusFeeder {
public:
    static constexpr int kGrace = 3;

    /// All of them outlive the feeder, which lives on "StatsBroadcastEvent".
    LauncherStatusFeeder(const RemoteFilesArrayController& rfac, NotificationCenter& notifications,
                         const UserDefaults& defaults, LauncherBadge& badge);

private:
    bool isUnderway();
    void update(const RemoteFileCollectionStats& stats);

    const RemoteFilesArrayController& m_rfac;
    const UserDefaults& m_defaults;
    LauncherBadge& m_badge;
    LauncherStatus m_shown;
    int m_grace = 0; // broadcasts for which a queue without an active job still counts as underway
    NotificationCenter::Observation m_stats;
};

} // namespace tarvo
