// A folder tells of what is put into it and taken out; only the file itself, of what is written into it.
#include "base/UserDefaultsWatcher.h"

#include <QFileInfo>

#include "base/Log.h"
#include "base/Runloop.h"

namespace tarvo {

namespace {

constexpr int kPauseMs = 200; // one save of an editor is several events

} // namespace

UserDefaultsWatcher::UserDefaultsWatcher(UserDefaults& defaults, const std::string& path)
    : m_defaults(defaults), m_path(QString::fromStdString(path)) {
    m_pause.setSingleShot(true);
    m_pause.setInterval(kPauseMs);
    connect(&m_pause, &QTimer::timeout, this, [this] { m_queue.async([this] { m_defaults.flush(); }); });
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, this, &UserDefaultsWatcher::somethingHappened);
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, &UserDefaultsWatcher::somethingHappened);
    if (!m_watcher.addPath(QFileInfo(m_path).path()))
        Log::warning("Changes of {} are not noticed before the next start", path);
    m_watcher.addPath(m_path); // where it is there already
}

void UserDefaultsWatcher::somethingHappened() {
    Runloop::assertMain();
    m_watcher.removePath(m_path); // it may be another file than before
    m_watcher.addPath(m_path);
    if (!m_pause.isActive())
        m_pause.start();
}

} // namespace tarvo
