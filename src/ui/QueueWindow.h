// The main window: puts the list, the bars and the menus together.
#pragma once

#include <QListView>
#include <QMainWindow>

#include "queue/QueueController.h"
#include "rows/RowsModel.h"
#include "ui/Actions.h"

namespace tarvo {

/// Main thread. Draws and passes clicks on; what happens then is decided by the queue.
class QueueWindow final : public QMainWindow {
    Q_OBJECT

public:
    /// All of them outlive the window.
    QueueWindow(QueueController& queue, const JobEnvironment& jobs);

    Actions& actions() { return *m_actions; }

    /// The jobs of the selected rows, in their order.
    std::vector<QueueController::Job> selectedJobs() const;

private:
    void makeMenus();
    void makeToolBar();
    void connectActions();

    QueueController& m_queue;
    const JobEnvironment& m_jobs;
    RowsModel m_rows;
    Actions* m_actions;
    QListView* m_list;
};

} // namespace tarvo
