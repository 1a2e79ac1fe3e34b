#include "ui/CurrentJob.h"

#include "base/Runloop.h"

namespace tarvo {

CurrentJob::CurrentJob(RemoteFilesArrayController& queue, const RowsModel& rows,
                       QItemSelectionModel& selection, QObject* parent)
    : QObject(parent), m_rows(rows), m_selection(selection), m_job(rows.jobAt(selection.currentIndex())) {
    Runloop::assertMain();
    connect(&selection, &QItemSelectionModel::currentChanged, this,
            [this](const QModelIndex& current) { take(m_rows.jobAt(current)); });
    connect(&rows, &QAbstractItemModel::modelReset, this,
            [this] { take(m_rows.jobAt(m_selection.currentIndex())); });
    connect(&queue, &RemoteFilesArrayController::jobReplaced, this, [this](const Job& old, const Job& fresh) {
        if (old != m_job)
            return;
        m_job = fresh;
        Q_EMIT replaced();
    });
    connect(&queue, &RemoteFilesArrayController::jobStateChanged, this, [this](const Job& job) {
        if (job == m_job)
            Q_EMIT stateChanged();
    });
}

void CurrentJob::take(const Job& job) {
    if (job == m_job)
        return;
    m_job = job;
    Q_EMIT changed();
}

} // namespace tarvo
