// The queue as other programs of the session see and steer it: com.unregistered.Tarvo.Queue on the bus.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <QDBusContext>
#include <QDBusMessage>
#include <QObject>
#include <QSet>
#include <QStringList>
#include <QTimer>

#include "platform/DesktopBus.h"
#include "queue/QueueController.h"
#include "remote/BusAdditions.h"
#include "remote/QueueRow.h"
#include "remote/RowNumbers.h"

namespace tarvo {

using RowNumberList = QList<qulonglong>;

/// Main thread. The manual page of tarvo tells the interface to those who call it. Without a bus there is
/// none, quietly.
class QueueService final : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.unregistered.Tarvo.Queue")
    Q_PROPERTY(QString RunState READ runState SCRIPTABLE true)
    Q_PROPERTY(uint Waiting READ waiting SCRIPTABLE true)
    Q_PROPERTY(uint Running READ running SCRIPTABLE true)
    Q_PROPERTY(uint Paused READ paused SCRIPTABLE true)
    Q_PROPERTY(uint Failed READ failed SCRIPTABLE true)
    Q_PROPERTY(uint Finished READ finished SCRIPTABLE true)
    Q_PROPERTY(qlonglong Speed READ speed SCRIPTABLE true)
    Q_PROPERTY(qlonglong BytesLeft READ bytesLeft SCRIPTABLE true)

public:
    /// Reads the settings file, and calls `done` on the main thread once what it says holds.
    using SettingsReader = std::function<void(std::function<void()> done)>;

    /// What is referred to outlives the service; `homeFolder` is absolute.
    QueueService(DesktopBus& sessionBus, QueueController& queue, const JobEnvironment& jobs,
                 std::string homeFolder, SettingsReader readSettings);

    /// So that the bus knows the types of the calls; before the first of them.
    static void registerTypes();

    /// Puts the object on the bus; the program's name there is taken elsewhere.
    void start();

    QString runState() const { return stateName(m_queue.runState()); }

    uint waiting() const { return static_cast<uint>(rows().pendingJobs()); }

    uint running() const { return count(rf_state_running); }

    uint paused() const { return count(rf_state_paused); }

    uint failed() const { return count(rf_state_failed); }

    uint finished() const { return count(rf_state_succeeded); }

    qlonglong speed() const;     ///< bytes per second
    qlonglong bytesLeft() const; ///< of the downloads whose size is known

    // Called over the bus, whose types the parameters name in full. Rows that are not there are an error, and
    // then nothing is done.
    Q_SCRIPTABLE Q_INVOKABLE QList<tarvo::QueueRow> List();
    /// Addresses, and absolute paths of unfinished downloads. `options`: "folder" (s, absolute),
    /// "connections" (x) and "start" (b, whether the queue starts); for each the settings decide where it is
    /// left out. Answers once what was taken is kept over the end of the program.
    Q_SCRIPTABLE Q_INVOKABLE QList<tarvo::AddAnswer> Add(const QStringList& what, const QVariantMap& options);
    Q_SCRIPTABLE Q_INVOKABLE void Start();
    Q_SCRIPTABLE Q_INVOKABLE void Pause();
    Q_SCRIPTABLE Q_INVOKABLE void PauseRows(const QList<qulonglong>& rows);
    Q_SCRIPTABLE Q_INVOKABLE void ResumeRows(const QList<qulonglong>& rows);
    Q_SCRIPTABLE Q_INVOKABLE void RetryRows(const QList<qulonglong>& rows);
    /// With `data`, answers once the files are gone.
    Q_SCRIPTABLE Q_INVOKABLE void RemoveRows(const QList<qulonglong>& rows, bool data);
    /// `where` is "top", "up", "down" or "bottom".
    Q_SCRIPTABLE Q_INVOKABLE void MoveRows(const QList<qulonglong>& rows, const QString& where);
    /// Has the program look at its settings file now, as it does by itself a little later. Answers once what
    /// it says holds.
    Q_SCRIPTABLE Q_INVOKABLE void ReadSettings();
    /// From now on, until it calls Unwatch or leaves the bus, the caller is told what changes.
    Q_SCRIPTABLE Q_INVOKABLE void Watch();
    Q_SCRIPTABLE Q_INVOKABLE void Unwatch();

Q_SIGNALS:
    /// While there is a watcher: these rows have changed, and this is what they are now.
    Q_SCRIPTABLE void RowsChanged(const QList<tarvo::QueueRow>& rows);
    /// While there is a watcher: rows have come, gone or moved.
    Q_SCRIPTABLE void ListChanged();

public Q_SLOTS: // for the bus
    void onNameOwnerChanged(const QDBusMessage& change);

private:
    using Jobs = std::vector<QueueController::Job>;

    RemoteFilesArrayController& rows() const { return m_queue.remoteFiles(); }

    uint count(rf_state_t state) const { return static_cast<uint>(rows().jobsInState(state)); }

    std::optional<Jobs> jobsOf(const RowNumberList& numbers);
    QueueRows rowsOf(const Jobs& jobs);
    void forget(const QString& watcher);
    void follow();
    void tellRunning();
    void tellProperties();

    DesktopBus& m_sessionBus;
    QueueController& m_queue;
    const JobEnvironment& m_jobs;
    const std::string m_homeFolder;
    const SettingsReader m_readSettings;
    RowNumbers m_numbers{m_queue.remoteFiles()};
    QSet<QString> m_watchers;
    QObject* m_following = nullptr; // holds the connections to the queue while there are watchers
    QTimer m_listChange;
    QTimer m_propertyChange;
    QVariantMap m_toldProperties;
};

} // namespace tarvo
