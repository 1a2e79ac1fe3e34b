#include "queue/UserNotifier.h"

#include <utility>

#include "base/Localized.h"
#include "base/Runloop.h"
#include "queue/QueueNotifications.h"

namespace tarvo {

UserNotifier::UserNotifier(const RemoteFilesArrayController& rfac, NotificationCenter& notifications,
                           UserNotices& notices)
    : m_notices(notices), m_completed(notifications.observe(kQueueWindowCompletedAllDownloads,
                                                            [this](const Notification&) { notify(); })) {
    QObject::connect(&rfac, &RemoteFilesArrayController::jobStateChanged, &m_connections,
                     [this](const std::shared_ptr<RemoteFile>& job, rf_state_t, rf_state_t state) {
                         if (state != rf_state_succeeded)
                             return;
                         ++m_finished;
                         m_lastName = job->fileName();
                     });
}

void UserNotifier::notify() {
    Runloop::assertMain();
    const std::size_t count = std::exchange(m_finished, 0);
    if (count == 0)
        return;
    const std::string text = count == 1
                                 ? localized("tr.notification.single-download", {m_lastName})
                                 : localized("tr.notification.multi-download", {std::to_string(count)});
    m_notices.deliver({localized("tr.notification.title"), text, true});
}

} // namespace tarvo
