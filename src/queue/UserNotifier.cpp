#include "queue/UserNotifier.h"

#include "base/Localized.h"
#include "queue/QueueNotifications.h"

namespace tarvo {

UserNotifier::UserNotifier(const RemoteFilesArrayController& rfac, NotificationCenter& notifications,
                           UserNotices& notices)
    : m_rfac(rfac), m_notices(notices),
      m_completed(notifications.observe(kQueueWindowCompletedAllDownloads,
                                        [this](const Notification&) { notify(); })) {
}

void UserNotifier::notify() {
    RemoteFilesArrayController::Job lastNew;
    std::size_t count = 0;
    std::unordered_set<std::string> succeeded;
    for (const auto& job : m_rfac.contentAsArray()) {
        std::string identity = job->identity();
        if (!m_alreadyNotified.contains(identity)) {
            lastNew = job;
            ++count;
        }
        if (job->currentState() == rf_state_succeeded)
            succeeded.insert(std::move(identity));
    }
    const std::string text = count == 1
                                 ? localized("tr.notification.single-download", {lastNew->fileName()})
                                 : localized("tr.notification.multi-download", {std::to_string(count)});
    m_notices.deliver({localized("tr.notification.title"), text, true});
    m_alreadyNotified.merge(succeeded);
}

} // namespace tarvo
