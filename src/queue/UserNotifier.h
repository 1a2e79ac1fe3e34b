// Tells the user when all downloads have finished.
#pragma once

#include <string>
#include <unordered_set>

#include "base/NotificationCenter.h"
#include "queue/RemoteFilesArrayController.h"
#include "queue/UserNotices.h"

namespace tarvo {

/// One notice for each time that the queue has completed, about the files that no notice has counted yet.
/// Main thread.
class UserNotifier {
public:
    /// All of them outlive the notifier.
    UserNotifier(const RemoteFilesArrayController& rfac, NotificationCenter& notifications,
                 UserNotices& notices);

private:
    void notify();

    const RemoteFilesArrayController& m_rfac;
    UserNotices& m_notices;
    std::unordered_set<std::string> m_alreadyNotified; // identities; of removed jobs too
    NotificationCenter::Observation m_completed;
};

} // namespace tarvo
