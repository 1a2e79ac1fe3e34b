// The queue survives a restart: its unfinished jobs are kept in the settings.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <QObject>
#include <QTimer>

#include "base/KeyedArchiver.h"
#include "base/SerialQueue.h"
#include "base/UserDefaults.h"
#include "jobs/JobEnvironment.h"
#include "queue/RemoteFilesArrayController.h"
#include "queue/SavedRows.h"

namespace tarvo {

/// Main thread. Two entries of the settings, always written together: the session, a keyed archive with the
/// list of the jobs that can go on where they stopped; and the rows of all unfinished jobs in their order,
/// from which those are begun anew of which there is nothing on disk yet. The main thread only lists the
/// jobs; the bytes and the file are made on a queue of the saver's own, one session after another, so that
/// the newest one is the last.
class QueueStateSaver : public QObject {
    Q_OBJECT

public:
    /// A change that no caller waits for is saved this much later, together with all that come until then;
    /// the queue of thousands, whose session is large, up to kMostDelayMs later.
    static constexpr int kDelayMs = 3'000;
    static constexpr int kMostDelayMs = 10'000;

    /// Everything referred to outlives the saver.
    QueueStateSaver(RemoteFilesArrayController& rfac, UserDefaults& defaults,
                    const JobEnvironment& environment);

    /// Waits for the write under way. See finishSaving().
    ~QueueStateSaver() override;

    /// Adds the jobs that were saved to the queue, each address once. What can't be read is told in the log,
    /// and kept under a key of its own when the next session is written.
    void restoreUIState();

    /// From here on every change of the queue is saved, within that time after the first that is not: a job
    /// that has been made ready meanwhile comes back as the row it was, and finds its bundle by its name.
    /// Called after restoreUIState().
    void beginSavingStateWhenNeeded();

    /// Writes what is to be kept, if it is something else than what is stored: now, or as soon as the write
    /// under way has ended.
    void saveUIState();

    /// The same; `done` is told once the queue as it is now is on the disk, or could not be written.
    void whenSaved(std::function<void(bool saved)> done);

    /// At the end of the program: writes what is outstanding and returns once it is on the disk. Changes
    /// after it are not saved.
    void finishSaving();

private:
    using Told = std::vector<std::function<void(bool saved)>>;
    using Jobs = std::vector<std::shared_ptr<RemoteFile>>;

    /// The queue as it is to be written.
    struct Picture {
        KeyedArchiver session{KeyedArchiver::Format::Binary};
        std::vector<SavedRow> rows;
        std::size_t bytes = 0; // of both, once they are made
    };

    void sessionChanged();
    std::shared_ptr<Picture> picture();
    bool write(Picture& picture);
    void keepUnreadable(std::string& unreadable, std::string_view key);
    void writeHasEnded(bool saved, std::size_t bytes);
    static void tell(Told& told, bool saved);
    bool restoreSession(const std::string& session, const std::vector<SavedRow>& rows, Jobs& jobs);
    Jobs inOrder(const std::vector<SavedRow>& rows, const Jobs& fromSession) const;
    void addToQueue(const Jobs& jobs);

    RemoteFilesArrayController& m_rfac;
    UserDefaults& m_defaults;
    const JobEnvironment& m_environment;
    bool m_isChanged = false; // since the last picture
    bool m_isUrgent = false;  // so that it is saved as soon as it can be
    bool m_isWriting = false;
    QTimer m_delay;
    Told m_waiting;    // for the next write
    Told m_beingSaved; // by the write under way

    // Touched by tasks of the queue only, once there is one.
    std::string m_unreadableSession; // to be kept before it is overwritten
    std::string m_unreadableRows;
    bool m_hasFailed = false; // what the settings hold is not on the disk yet

    SerialQueue m_sessionSavingQueue{
        "com.unregistered.tarvo2.sessionSavingQueue"}; // last, so that it ends first
};

} // namespace tarvo
