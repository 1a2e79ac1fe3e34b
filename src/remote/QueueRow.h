// A download as the session's bus tells it, and the names of the interface that tells it.
#pragma once

#include <QDBusArgument>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QVariantMap>

#include "jobs/RemoteFile.h"
#include "queue/QueueRun.h"
#include "rows/RowTexts.h"

namespace tarvo {

/// The interface of the queue on the name com.unregistered.Tarvo.
namespace QueueInterface {
inline constexpr const char* kName = "com.unregistered.Tarvo.Queue";
inline constexpr const char* kPath = "/com/unregistered/Tarvo/Queue";
inline constexpr const char* kNoSuchRow = "com.unregistered.Tarvo.Error.NoSuchRow";
inline constexpr const char* kFailed = "com.unregistered.Tarvo.Error.Failed";
} // namespace QueueInterface

/// On the bus: (tsssxxxxxa{sv}).
struct QueueRow {
    quint64 number = 0; ///< the row's as long as the program runs, retries included
    QString state;      ///< see stateName()
    QString name;       ///< of the file
    QString url;        ///< without a password; without an address, the path of the file
    qint64 bytes = 0;   ///< on disk so far
    qint64 size = 0;    ///< in bytes; below 1: not known
    qint64 speed = 0;   ///< bytes per second
    qint64 connections = 0;
    qint64 secondsLeft = -1; ///< below 0: not known
    /// "folder" (s), "status" (s, a sentence), "error" (s), "retryIn" (x, seconds), "added" and "finished"
    /// (x, seconds since 1970), "path" (s, of the finished file): those that there are.
    QVariantMap more;
};

using QueueRows = QList<QueueRow>;

/// "waiting", "preparing", "running", "paused", "failed", "stopped" or "finished".
QString stateName(rf_state_t state);

/// "stopped", "waiting", "running" or "paused".
QString stateName(QueueRunState state);

/// Main thread.
QueueRow rowOf(const RemoteFile& job, quint64 number, const RowMoment& moment);

/// So that the bus knows the two types above; before the first call.
void registerRowTypes();

QDBusArgument& operator<<(QDBusArgument& bus, const QueueRow& row);
const QDBusArgument& operator>>(const QDBusArgument& bus, QueueRow& row);

} // namespace tarvo

Q_DECLARE_METATYPE(tarvo::QueueRow)
