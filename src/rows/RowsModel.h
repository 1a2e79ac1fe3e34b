// The rows of the queue as a model that a list view shows.
#pragma once

#include <string>
#include <unordered_map>

#include <QAbstractListModel>

#include "base/Clock.h"
#include "queue/RemoteFilesArrayController.h"
#include "rows/RowTexts.h"

namespace tarvo {

/// What is drawn of a row.
struct RowLook {
    QString name;
    QString status;
    QString amount; ///< "1.0 MiB of 5.0 MiB"
    int state = rf_state_initializing;
    double percent = 0; ///< 0 to 100
    bool isIndeterminate = false;
    bool isMoving = false;    ///< the bar
    bool isMultipart = false; ///< over several connections
};

/// Main thread. One row of the queue is one of the model, and a row's job is asked when it is drawn: nothing
/// is copied. What changes within a row is told by didChange(), which RowsFeed calls.
class RowsModel final : public QAbstractListModel {
    Q_OBJECT

public:
    using Job = std::shared_ptr<RemoteFile>;

    /// Both outlive the model.
    RowsModel(RemoteFilesArrayController& queue, const Clock& clock, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;

    /// The name, and for screen readers the status.
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

    /// Null where `index` is no row.
    Job jobAt(const QModelIndex& index) const;

    /// Invalid where the job is not shown.
    QModelIndex indexOf(const RemoteFile& job) const;

    /// `index` is a row. The status is the one of the last forgetStatus(), so that a bar can move on without
    /// its words.
    RowLook lookAt(const QModelIndex& index) const;

    /// The status lines are made anew when they are asked for next.
    void forgetStatus() { m_status.clear(); }

    void forgetStatus(const RemoteFile& job) { m_status.erase(&job); }

    void didChange(int row);

    void setSchedulerIsActive(bool isActive);

private:
    RowMoment moment() const { return {m_clock.now(), m_schedulerIsActive}; }

    void passRowsOn();
    void passMovesOn();

    RemoteFilesArrayController& m_queue;
    const Clock& m_clock;
    bool m_schedulerIsActive = false;
    mutable std::unordered_map<const RemoteFile*, QString> m_status; // of rows that were drawn
};

} // namespace tarvo
