#include "rows/RowsModel.h"

#include "base/Localized.h"
#include "base/Readable.h"
#include "base/Runloop.h"

#include <algorithm>

namespace tarvo {

RowsModel::RowsModel(RemoteFilesArrayController& queue, const Clock& clock, QObject* parent)
    : QAbstractListModel(parent), m_queue(queue), m_clock(clock) {
    Runloop::assertMain();
    passRowsOn();
    passMovesOn();
}

int RowsModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : m_queue.rowCount();
}

QVariant RowsModel::data(const QModelIndex& index, int role) const {
    const Job job = jobAt(index);
    if (!job)
        return {};
    switch (role) {
    case Qt::DisplayRole:
    case Qt::AccessibleTextRole:
        return QString::fromStdString(job->displayName());
    case Qt::AccessibleDescriptionRole:
        return QString::fromStdString(spokenStatus(factsOf(*job), moment()));
    default:
        return {};
    }
}

Qt::ItemFlags RowsModel::flags(const QModelIndex& index) const {
    const auto flags = QAbstractListModel::flags(index);
    return index.isValid() ? flags | Qt::ItemIsDragEnabled | Qt::ItemNeverHasChildren : flags;
}

RowsModel::Job RowsModel::jobAt(const QModelIndex& index) const {
    return index.isValid() && index.row() < m_queue.rowCount() ? m_queue.jobAt(index.row()) : nullptr;
}

QModelIndex RowsModel::indexOf(const RemoteFile& job) const {
    const auto row = m_queue.rowOf(job);
    return row ? index(*row) : QModelIndex();
}

RowLook RowsModel::lookAt(const QModelIndex& index) const {
    const Job job = jobAt(index);
    const RowFacts facts = factsOf(*job);
    const auto [status, isNew] = m_status.try_emplace(job.get());
    if (isNew)
        status->second = QString::fromStdString(statusText(facts, moment()));
    return {QString::fromStdString(job->displayName()),
            status->second,
            QString::fromStdString(amountText(facts.state, job->totalBytesDownloaded(), job->fileSize())),
            facts.state,
            std::clamp(facts.percent, 0.0, 100.0),
            isIndeterminate(facts),
            barAnimation(facts.state) == BarAnimation::moving,
            facts.supportsMultipart};
}

void RowsModel::didChange(int row) {
    Q_EMIT dataChanged(index(row), index(row));
}

void RowsModel::setSchedulerIsActive(bool isActive) {
    m_schedulerIsActive = isActive;
    forgetStatus();
}

void RowsModel::passRowsOn() {
    connect(&m_queue, &JobRows::rowsAboutToBeInserted, this,
            [this](int first, int last) { beginInsertRows({}, first, last); });
    connect(&m_queue, &JobRows::rowsInserted, this, [this] { endInsertRows(); });
    connect(&m_queue, &JobRows::rowsAboutToBeRemoved, this, [this](int first, int last) {
        forgetStatus(); // of jobs that may end
        beginRemoveRows({}, first, last);
    });
    connect(&m_queue, &JobRows::rowsRemoved, this, [this] { endRemoveRows(); });
    connect(&m_queue, &JobRows::rowReplaced, this, [this](int row) {
        forgetStatus();
        didChange(row);
    });
}

void RowsModel::passMovesOn() {
    connect(&m_queue, &JobRows::rowsAboutToBeMoved, this,
            [this](int first, int last, int to) { beginMoveRows({}, first, last, {}, to); });
    connect(&m_queue, &JobRows::rowsMoved, this, [this] { endMoveRows(); });
    connect(&m_queue, &JobRows::rowsAboutToBeReset, this, [this] {
        forgetStatus();
        beginResetModel();
    });
    connect(&m_queue, &JobRows::rowsReset, this, [this] { endResetModel(); });
}

} // namespace tarvo
