// Knows whether the desktop shows icons of programs in a tray, as that comes and goes.
#pragma once

#include <QDBusMessage>
#include <QObject>
#include <QTimer>

#include "platform/DesktopBus.h"

namespace tarvo {

/// StatusNotifierItem, org.kde.StatusNotifierWatcher: there is a tray while the watcher has a host. Asks
/// without waiting, unlike QSystemTrayIcon::isSystemTrayAvailable(), which also remembers its first answer.
/// Main thread.
class TrayWatch final : public QObject {
    Q_OBJECT

public:
    /// A watcher that has not answered by then has no host.
    static constexpr int kLimitMs = 3000;

    /// `sessionBus` outlives the watch.
    explicit TrayWatch(DesktopBus& sessionBus);

    /// From now on changed() is emitted, first when the answer is yes.
    void start();

    bool isTrayThere() const { return m_isThere; }

Q_SIGNALS:
    void changed(bool isThere);

private:
    Q_SLOT void ownerChanged(const QDBusMessage& signal);
    Q_SLOT void ask();
    void set(bool isThere);

    DesktopBus& m_sessionBus;
    QTimer m_limit;
    int m_question = 0; // number of the last one: earlier ones are not heard any more
    bool m_isThere = false;
};

} // namespace tarvo
