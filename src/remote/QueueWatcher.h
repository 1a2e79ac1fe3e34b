// The rows of the running application's queue, kept up to date by what it tells.
#pragma once

#include <QDBusMessage>
#include <QObject>

#include "remote/QueueClient.h"

namespace tarvo {

/// Main thread.
class QueueWatcher final : public QObject {
    Q_OBJECT

public:
    /// `client` outlives the watcher.
    explicit QueueWatcher(QueueClient& client) : m_client(client) {}

    /// Learns the rows, and from now on their changes.
    Result<void> begin();

    const QueueRows& rows() const { return m_rows; }

Q_SIGNALS:
    void changed(const tarvo::QueueRows& rows); ///< these, or they are new
    void gone(const QList<quint64>& numbers);
    void lost(); ///< the application has left the bus

public Q_SLOTS:
    void onRowsChanged(const QDBusMessage& message);
    void onListChanged(const QDBusMessage& message);
    void onNameOwnerChanged(const QDBusMessage& message);

private:
    QueueClient& m_client;
    QueueRows m_rows;
};

} // namespace tarvo
