#include "tarvo/Headless.h"

#include <utility>

#include "app/WindowlessMain.h"
#include "base/Runloop.h"
#include "base/SettingKeys.h"
#include "base/Settings.h"

namespace tarvo {

Headless::Headless(UserNotices& notices, std::string homeFolder)
    : m_desk(notices), m_homeFolder(std::move(homeFolder)) {
}

void Headless::didSetUpLogging(TRLoggingManager& logging) {
    Runloop::assertMain();
    logging.copyToStandardError(); // without a window, this is where a user looks first
}

void Headless::registerDefaults(UserDefaults& defaults) {
    Runloop::assertMain();
    // No user looks at the list and clears it.
    defaults.registerDefaults({{std::string(SettingKey::kAutoClearCompleted), true}});
}

std::unique_ptr<MainWindow> Headless::makeMainWindow(QueueController& queue, const JobEnvironment& jobs) {
    Runloop::assertMain();
    QObject::connect(&m_desk, &HeadlessDesk::nobodyNeedsTheProgram, &queue, &QueueController::quit);
    QObject::connect(&queue.remoteFiles(), &RemoteFilesArrayController::jobStateChanged, &queue,
                     [this](const std::shared_ptr<RemoteFile>& job, rf_state_t, rf_state_t state) {
                         if (state == rf_state_failed && !job->isRetryable())
                             m_desk.presentError(*job->error());
                     });
    // No user can press a button: a restored queue goes on if additions would start it.
    if (queue.remoteFiles().content().size() > 0 && Settings(jobs.defaults).autoStartAfterAdd())
        queue.toggleAutorun();
    return std::make_unique<WindowlessMain>(queue, jobs, m_homeFolder, m_desk);
}

} // namespace tarvo
