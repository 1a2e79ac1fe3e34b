#include "queue/AutomaticTerminationUpdater.h"

#include "base/Log.h"
#include "base/Runloop.h"
#include "base/Settings.h"

namespace tarvo {

namespace {

constexpr const char* kReason = "QueueWindowSuggestion";

} // namespace

AutomaticTerminationUpdater::AutomaticTerminationUpdater(
    std::function<bool()> windowIsVisible, const RemoteFilesArrayController& remoteFilesArrayController,
    const UserDefaults& defaults, AutomaticTermination& termination)
    : m_windowIsVisible(std::move(windowIsVisible)), m_remoteFilesArrayController(remoteFilesArrayController),
      m_defaults(defaults), m_termination(termination) {
    Log::assertThat(m_windowIsVisible != nullptr);
    const auto update = [this] { updateAutomaticTerminationStatus(); };
    QObject::connect(&m_remoteFilesArrayController, &RemoteFilesArrayController::allChildStatesChanged,
                     &m_connections, update);
    QObject::connect(&m_remoteFilesArrayController, &RemoteFilesArrayController::contentArraySizeChanged,
                     &m_connections, update);
}

void AutomaticTerminationUpdater::updateAutomaticTerminationStatus() {
    Runloop::assertMain();
    const auto& queue = m_remoteFilesArrayController;
    setCanBeAutomaticallyTerminated(queue.content().size() == queue.succeededJobs() &&
                                    !(m_windowIsVisible && m_windowIsVisible()) &&
                                    Settings(m_defaults).autoQuitWhenTransfersComplete());
}

void AutomaticTerminationUpdater::setCanBeAutomaticallyTerminated(bool can) {
    Runloop::assertMain();
    const bool could = std::exchange(m_canBeAutomaticallyTerminated, can);
    if (can && !could) {
        Log::verbose("Tarvo is eligible for termination now");
        m_termination.enableAutomaticTermination(kReason);
    } else if (!can && could) {
        Log::verbose("Tarvo cannot be automatically terminated now");
        m_termination.disableAutomaticTermination(kReason);
    }
}

} // namespace tarvo
