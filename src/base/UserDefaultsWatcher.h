// Lets what a person writes into the settings file reach the program while it runs.
#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QString>
#include <QTimer>

#include "base/SerialQueue.h"
#include "base/UserDefaults.h"

namespace tarvo {

/// Has the settings read again, on a queue of its own, a moment after their file was written to or replaced:
/// see UserDefaults::flush(). Main thread.
class UserDefaultsWatcher final : public QObject {
    Q_OBJECT

public:
    /// `path` is that of the settings, in a folder that is there. `defaults` outlives the watcher.
    UserDefaultsWatcher(UserDefaults& defaults, const std::string& path);

private:
    void somethingHappened();

    UserDefaults& m_defaults;
    const QString m_path;
    QFileSystemWatcher m_watcher;
    QTimer m_pause;
    SerialQueue m_queue{"com.unregistered.tarvo2.settingsReadingQueue"};
};

} // namespace tarvo
