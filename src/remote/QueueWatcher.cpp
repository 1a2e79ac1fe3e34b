#include "remote/QueueWatcher.h"

#include <QDBusArgument>
#include <QHash>

#include "base/Runloop.h"

namespace tarvo {

Result<void> QueueWatcher::begin() {
    Runloop::assertMain();
    if (auto begun = m_client.watch(*this); !begun)
        return begun;
    auto rows = m_client.list();
    if (!rows)
        return tl::unexpected(rows.error());
    m_rows = std::move(*rows);
    return {};
}

void QueueWatcher::onRowsChanged(const QDBusMessage& message) {
    Runloop::assertMain();
    const auto told = qdbus_cast<QueueRows>(message.arguments().value(0));
    QHash<quint64, const QueueRow*> fresh;
    for (const auto& row : told)
        fresh.insert(row.number, &row);
    for (auto& row : m_rows) {
        if (const auto* news = fresh.value(row.number))
            row = *news;
    }
    Q_EMIT changed(told);
}

void QueueWatcher::onListChanged(const QDBusMessage&) {
    Runloop::assertMain();
    auto now = m_client.list();
    if (!now)
        return;
    QHash<quint64, bool> before;
    for (const auto& row : std::as_const(m_rows))
        before.insert(row.number, true);
    m_rows = std::move(*now);
    QueueRows arrived;
    for (const auto& row : std::as_const(m_rows)) {
        if (!before.remove(row.number))
            arrived.push_back(row);
    }
    if (!arrived.isEmpty())
        Q_EMIT changed(arrived);
    Q_EMIT gone(before.keys());
}

void QueueWatcher::onNameOwnerChanged(const QDBusMessage& message) {
    Runloop::assertMain();
    if (message.arguments().value(2).toString().isEmpty())
        Q_EMIT lost();
}

} // namespace tarvo
