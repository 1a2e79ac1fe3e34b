#include "queue/UserNotifier.h"

#include <utility>

#include "base/Localized.h"
#include "base/Runloop.h"
#include "queue/QueueNotifications.h"

namespace tarvo {

namespace {

constexpr std::size_t kMostFiles = 100; // shown in their folders at once

} // namespace

UserNotifier::UserNotifier(const RemoteFilesArrayController& rfac, NotificationCenter& notifications,
                           UserNotices& notices, FileActions actions)
    : m_notices(notices), m_actions(std::move(actions)),
      m_completed(notifications.observe(kQueueWindowCompletedAllDownloads,
                                        [this](const Notification&) { notify(); })) {
    QObject::connect(&rfac, &RemoteFilesArrayController::jobStateChanged, &m_connections,
                     [this](const std::shared_ptr<RemoteFile>& job, rf_state_t, rf_state_t state) {
                         if (state != rf_state_succeeded)
                             return;
                         ++m_finished;
                         m_lastName = job->fileName();
                         if (const auto path = job->finalFilePath(); path && m_files.size() < kMostFiles)
                             m_files.push_back(*path);
                     });
}

/// Of several files none is the one to open.
std::vector<NoticeButton> UserNotifier::buttons(const std::vector<std::string>& files) const {
    std::vector<NoticeButton> made;
    if (files.size() == 1 && m_actions.open)
        made.push_back({localized("tr.notification.open"),
                        [open = m_actions.open, files](const std::string&) { open(files); }});
    if (!files.empty() && m_actions.showInFolder)
        made.push_back({localized("tr.notification.show-in-folder"),
                        [show = m_actions.showInFolder, files](const std::string&) { show(files); }});
    return made;
}

void UserNotifier::notify() {
    Runloop::assertMain();
    const std::size_t count = std::exchange(m_finished, 0);
    const std::vector<std::string> files = std::exchange(m_files, {});
    if (count == 0)
        return;
    const std::string text = count == 1 ? localized("tr.notification.single-download", {m_lastName})
                                        : localizedCount("tr.notification.multi-download", count);
    m_notices.deliver({localized("tr.notification.title"), text, true, buttons(files)});
}

} // namespace tarvo
