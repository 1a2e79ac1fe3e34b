// The download of the list's current row, whatever becomes of it.
#pragma once

#include <QItemSelectionModel>
#include <QObject>

#include "rows/RowsModel.h"

namespace tarvo {

/// Main thread. A retry replaces the job in its row: then it is the fresh one.
class CurrentJob final : public QObject {
    Q_OBJECT

public:
    using Job = std::shared_ptr<RemoteFile>;

    /// All outlive it.
    CurrentJob(RemoteFilesArrayController& queue, const RowsModel& rows, QItemSelectionModel& selection,
               QObject* parent);

    /// Null where no row is the current one.
    const Job& job() const { return m_job; }

Q_SIGNALS:
    /// It is another row's.
    void changed();
    /// A fresh one stands in for it.
    void replaced();
    /// It has come to another state.
    void stateChanged();

private:
    void take(const Job& job);

    const RowsModel& m_rows;
    QItemSelectionModel& m_selection;
    Job m_job;
};

} // namespace tarvo
