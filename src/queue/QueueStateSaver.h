// The queue survives a restart: its unfinished jobs are kept in the settings.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <QObject>

#include "base/KeyedArchiver.h"
#include "base/SerialQueue.h"
#include "base/UserDefaults.h"
#include "jobs/JobEnvironment.h"
#include "queue/RemoteFilesArrayController.h"

namespace tarvo {

/// Main thread. Each session is a keyed archive with the list of jobs, in their order, that can go on where
/// they stopped. The main thread only lists them; the bytes and the file are made on a queue of the saver's
/// own, one session after another, so that the newest one is the last.
class QueueStateSaver : public QObject {
    Q_OBJECT

public:
    /// Everything referred to outlives the saver.
    QueueStateSaver(RemoteFilesArrayController& rfac, UserDefaults& defaults,
                    const JobEnvironment& environment);

    /// Waits for the write under way. See finishSaving().
    ~QueueStateSaver() override;

    /// Adds the jobs of the stored session to the queue. What can't be read is told in the log, and kept
    /// under a key of its own when the next session is written.
    void restoreUIState();

    /// From here on every change of the queue is saved: on the next turn of the main loop, and together
    /// with others that come until then or while a write is under way. Called after restoreUIState().
    void beginSavingStateWhenNeeded();

    /// Writes the session, if it is another than the stored one; later when a write is under way.
    void saveUIState();

    /// At the end of the program: writes what is outstanding and returns once it is on the disk. Changes
    /// after it are not saved.
    void finishSaving();

private:
    void sessionChanged();
    std::shared_ptr<KeyedArchiver> encodedSession();
    void write(KeyedArchiver& session);
    void writeHasEnded();
    bool restore(const std::string& session);
    void addToQueue(const std::vector<std::shared_ptr<Archivable>>& objects);

    RemoteFilesArrayController& m_rfac;
    UserDefaults& m_defaults;
    const JobEnvironment& m_environment;
    bool m_isChanged = false; // since it was last encoded
    bool m_isWriting = false;

    // Touched by tasks of the queue only, once there is one.
    std::string m_unreadableSession; // to be kept before it is overwritten
    bool m_hasFailed = false;        // what the settings hold is not on the disk yet

    SerialQueue m_sessionSavingQueue{
        "com.unregistered.tarvo2.sessionSavingQueue"}; // last, so that it ends first
};

} // namespace tarvo
