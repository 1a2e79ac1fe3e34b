#include "rows/RowsModel.h"

#include "base/Runloop.h"

namespace tarvo {

RowsModel::RowsModel(RemoteFilesArrayController& queue) : m_queue(queue) {
    Runloop::assertMain();
    passRowsOn();
}

int RowsModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : m_queue.rowCount();
}

QVariant RowsModel::data(const QModelIndex& index, int role) const {
    const Job job = jobAt(index);
    if (!job || role != Qt::DisplayRole)
        return {};
    return QString::fromStdString(job->displayName());
}

RowsModel::Job RowsModel::jobAt(const QModelIndex& index) const {
    return index.isValid() && index.row() < m_queue.rowCount() ? m_queue.jobAt(index.row()) : nullptr;
}

void RowsModel::passRowsOn() {
    connect(&m_queue, &JobRows::rowsAboutToBeInserted, this,
            [this](int first, int last) { beginInsertRows({}, first, last); });
    connect(&m_queue, &JobRows::rowsInserted, this, [this] { endInsertRows(); });
    connect(&m_queue, &JobRows::rowsAboutToBeRemoved, this,
            [this](int first, int last) { beginRemoveRows({}, first, last); });
    connect(&m_queue, &JobRows::rowsRemoved, this, [this] { endRemoveRows(); });
    connect(&m_queue, &JobRows::rowsAboutToBeMoved, this,
            [this](int first, int last, int to) { beginMoveRows({}, first, last, {}, to); });
    connect(&m_queue, &JobRows::rowsMoved, this, [this] { endMoveRows(); });
    connect(&m_queue, &JobRows::rowsAboutToBeReset, this, [this] { beginResetModel(); });
    connect(&m_queue, &JobRows::rowsReset, this, [this] { endResetModel(); });
    connect(&m_queue, &JobRows::rowReplaced, this,
            [this](int row) { Q_EMIT dataChanged(index(row), index(row)); });
}

} // namespace tarvo
