// The run state of the queue: whether jobs may be started, and what ends that.
#pragma once

#include <string>

#include <QObject>

#include "queue/RemoteFilesArrayController.h"

namespace tarvo {

/// Whether the scheduler may start jobs.
enum class QueueRunState {
    stopped = 0, ///< nothing to do
    waiting = 1, ///< there are jobs, and the queue was not started
    running = 2,
    paused = 3, ///< by the user
};

/// What the control that starts and stops the queue shows.
struct StartStopControl {
    std::string label;
    bool isOn = false;
};

/// Follows the counts of jobs by their states. Main thread.
class QueueRun : public QObject {
    Q_OBJECT

public:
    /// `remoteFiles` outlives it.
    explicit QueueRun(const RemoteFilesArrayController& remoteFiles);

    QueueRunState state() const { return m_state; }

    const StartStopControl& startStopControl() const { return m_startStopControl; }

    void set(QueueRunState state);

    /// Goes on to the state that the jobs' states ask for. Is called by itself when one of them changes.
    void update();

    /// While a pass changes many states, no state follows from them.
    void holdTransitions(bool isHeld);

    /// The program ends: what is stopped from here on has not come to its end.
    void end();

Q_SIGNALS:
    void changed(tarvo::QueueRunState state);
    /// No job is pending, active or failed any more, and since the last time one has finished.
    void completed();

private:
    void updateStartStopControl();

    const RemoteFilesArrayController& m_remoteFiles;
    QueueRunState m_state = QueueRunState::stopped;
    StartStopControl m_startStopControl;
    bool m_isHeld = false;
    bool m_hasNews = false; // a download has finished since the last completion
    bool m_hasEnded = false;
};

} // namespace tarvo
