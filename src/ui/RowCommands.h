// The commands that concern the list itself: which rows it shows, and in what order.
#pragma once

#include <QObject>

#include "queue/QueueController.h"
#include "ui/Actions.h"
#include "ui/QueueView.h"
#include "ui/SearchField.h"

namespace tarvo {

/// Main thread.
class RowCommands final : public QObject {
    Q_OBJECT

public:
    /// All of them outlive the object.
    RowCommands(QueueController& queue, const Actions& actions, RowsModel& rows, QueueView& list,
                SearchField& search);

private:
    void connectMoves(const Actions& actions);
    void connectSearch(const Actions& actions);
    void followRunState(RowsModel& rows);

    QueueController& m_queue;
    QueueView& m_list;
    SearchField& m_search;
};

} // namespace tarvo
