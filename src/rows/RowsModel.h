// The rows of the queue as a model that a list view shows.
#pragma once

#include <QAbstractListModel>

#include "queue/RemoteFilesArrayController.h"

namespace tarvo {

/// Main thread. One row of the queue is one of the model.
class RowsModel final : public QAbstractListModel {
    Q_OBJECT

public:
    using Job = std::shared_ptr<RemoteFile>;

    /// `queue` outlives the model.
    explicit RowsModel(RemoteFilesArrayController& queue);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

    /// Null where `index` is no row.
    Job jobAt(const QModelIndex& index) const;

private:
    void passRowsOn();

    RemoteFilesArrayController& m_queue;
};

} // namespace tarvo
