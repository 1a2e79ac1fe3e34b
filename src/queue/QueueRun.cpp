#include "queue/QueueRun.h"

#include "base/Localized.h"
#include "base/Log.h"
#include "base/Runloop.h"

#include <utility>

namespace tarvo {

QueueRun::QueueRun(const RemoteFilesArrayController& remoteFiles) : m_remoteFiles(remoteFiles) {
    using Files = RemoteFilesArrayController;
    connect(&remoteFiles, &Files::jobStateChanged, this,
            [this](const auto&, rf_state_t, rf_state_t state) { m_hasNews |= state == rf_state_succeeded; });
    connect(&remoteFiles, &Files::allChildStatesChanged, this, &QueueRun::update);
    updateStartStopControl();
}

void QueueRun::set(QueueRunState state) {
    Runloop::assertMain();
    if (m_state == state)
        return;
    m_state = state;
    updateStartStopControl();
    Q_EMIT changed(state);
    update();
}

void QueueRun::holdTransitions(bool isHeld) {
    Runloop::assertMain();
    m_isHeld = isHeld;
}

void QueueRun::end() {
    Runloop::assertMain();
    m_hasEnded = true;
}

void QueueRun::updateStartStopControl() {
    switch (m_state) {
    case QueueRunState::stopped:
        m_startStopControl = {localized("Start"), false};
        return;
    case QueueRunState::waiting: // shows what it has shown
        return;
    case QueueRunState::running:
        m_startStopControl = {localized("Pause"), true};
        return;
    case QueueRunState::paused:
        m_startStopControl = {localized("Resume"), false};
        return;
    }
}

void QueueRun::update() {
    Runloop::assertMain();
    if (m_hasEnded)
        return;
    if (m_isHeld || m_remoteFiles.isReplacing()) {
        Log::verbose("Skip state transitions for now, since flag is set");
        return;
    }
    const bool isPending = m_remoteFiles.pendingJobs() > 0;
    const bool isActive = m_remoteFiles.activeJobs() > 0;
    switch (m_state) {
    case QueueRunState::stopped:
        if (isPending)
            set(QueueRunState::waiting);
        return;
    case QueueRunState::waiting:
    case QueueRunState::paused:
        if (isPending || isActive)
            return;
        m_hasNews = false; // the user has run it by hand
        set(QueueRunState::stopped);
        return;
    case QueueRunState::running:
        if (isPending || isActive || m_remoteFiles.failedJobs() > 0)
            return;
        set(QueueRunState::stopped);
        if (std::exchange(m_hasNews, false))
            Q_EMIT completed();
        return;
    }
    Log::assertThat(false);
}

} // namespace tarvo
