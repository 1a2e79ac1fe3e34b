// Says when the program may be ended because it is not needed any more.
#pragma once

#include <functional>

#include <QObject>

#include "base/UserDefaults.h"
#include "queue/AutomaticTermination.h"
#include "queue/RemoteFilesArrayController.h"

namespace tarvo {

/// The program may be ended when every job has finished, its window is hidden and the user wants that
/// (setting AutoQuitWhenTransfersComplete). An empty queue has finished, too. Main thread.
class AutomaticTerminationUpdater {
public:
    /// `windowIsVisible` is asked at every update. Everything passed in outlives the updater.
    AutomaticTerminationUpdater(std::function<bool()> windowIsVisible,
                                const RemoteFilesArrayController& remoteFilesArrayController,
                                const UserDefaults& defaults, AutomaticTermination& termination);

    /// To be called every second and when the window comes to the front; the updater itself calls it when
    /// the queue changes.
    void updateAutomaticTerminationStatus();

    bool canBeAutomaticallyTerminated() const { return m_canBeAutomaticallyTerminated; }

    /// Tells the port, if that is a change.
    void setCanBeAutomaticallyTerminated(bool can);

private:
    const std::function<bool()> m_windowIsVisible;
    const RemoteFilesArrayController& m_remoteFilesArrayController;
    const UserDefaults& m_defaults;
    AutomaticTermination& m_termination;
    bool m_canBeAutomaticallyTerminated = false;
    QObject m_connections; // with its end the queue's signals arrive no more
};

} // namespace tarvo
