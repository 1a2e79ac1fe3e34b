// Tells the user when all downloads have finished.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <QObject>

#include "base/NotificationCenter.h"
#include "queue/RemoteFilesArrayController.h"
#include "queue/UserNotices.h"

namespace tarvo {

/// What a notice's buttons do with finished files, by their absolute paths. Without a function there is no
/// such button.
struct FileActions {
    std::function<void(const std::vector<std::string>& files)> open;
    std::function<void(const std::vector<std::string>& files)> showInFolder;
};

/// One notice for each time that the queue has completed, about the files that have finished since the last,
/// whether their rows are still there or not; none about no file. Main thread.
class UserNotifier {
public:
    /// All of them outlive the notifier.
    UserNotifier(const RemoteFilesArrayController& rfac, NotificationCenter& notifications,
                 UserNotices& notices, FileActions actions = {});

private:
    void notify();
    std::vector<NoticeButton> buttons(const std::vector<std::string>& files) const;

    UserNotices& m_notices;
    std::size_t m_finished = 0; // since the last notice
    std::string m_lastName;     // of them
    std::vector<std::string> m_files;
    const FileActions m_actions;
    QObject m_connections; // with its end the queue's signals arrive no more
    NotificationCenter::Observation m_completed;
};

} // namespace tarvo
