// Tells the user when all downloads have finished.
#pragma once

#include <cstddef>
#include <string>

#include <QObject>

#include "base/NotificationCenter.h"
#include "queue/RemoteFilesArrayController.h"
#include "queue/UserNotices.h"

namespace tarvo {

/// One notice for each time that the queue has completed, about the files that have finished since the last,
/// whether their rows are still there or not; none about no file. Main thread.
class UserNotifier {
public:
    /// All of them outlive the notifier.
    UserNotifier(const RemoteFilesArrayController& rfac, NotificationCenter& notifications,
                 UserNotices& notices);

private:
    void notify();

    UserNotices& m_notices;
    std::size_t m_finished = 0; // since the last notice
    std::string m_lastName;     // of them
    QObject m_connections;      // with its end the queue's signals arrive no more
    NotificationCenter::Observation m_completed;
};

} // namespace tarvo
