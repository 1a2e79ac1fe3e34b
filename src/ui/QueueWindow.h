// The main window: puts the list, the bars and the menus together.
#pragma once

#include <memory>

#include <QMainWindow>
#include <QStackedLayout>
#include <QTimer>
#include <QVBoxLayout>

#include "input/Pasteboard.h"
#include "rows/RowsModel.h"
#include "ui/Actions.h"
#include "ui/EmptyNote.h"
#include "ui/FreeSpace.h"
#include "ui/Hints.h"
#include "ui/MainToolBar.h"
#include "ui/ManualWindow.h"
#include "ui/QueueView.h"
#include "ui/RowCommands.h"
#include "ui/SearchField.h"
#include "ui/WindowEnvironment.h"

namespace tarvo {

class SelectionCommands;

/// Main thread. Draws and passes clicks on; what happens then is decided by the queue.
class QueueWindow final : public QMainWindow {
    Q_OBJECT

public:
    explicit QueueWindow(const WindowEnvironment& environment);
    ~QueueWindow() override;

    Actions& actions() { return *m_actions; }

    QueueView& list() { return *m_list; }

    Hints& hints() { return m_hints; }

    /// The jobs of the selected rows, in their order.
    std::vector<QueueController::Job> selectedJobs() const { return m_list->selectedJobs(); }

Q_SIGNALS:
    /// Links or bundles were dropped on the window.
    void dropped(const tarvo::Pasteboard& pasteboard);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void placeParts();
    void connectActions();
    void showListOrNote();
    void followAdded();
    void showAdded(const std::vector<QueueController::Job>& jobs);
    void rename();
    void changeAddress();
    void showManual();
    void showAbout();

    const WindowEnvironment m_environment;
    QueueController& m_queue;
    RowsModel* m_rows; // a child, so that it is there when the list is hidden for the last time
    Actions* m_actions;
    MainToolBar* m_toolBar;
    QueueView* m_list;
    SearchField* m_search;
    RowCommands m_rowCommands;
    EmptyNote* m_empty;
    HintBar* m_hintBar;
    FreeSpace m_freeSpace;
    Hints m_hints;
    std::unique_ptr<SelectionCommands> m_selectionCommands;
    ManualWindow* m_manual = nullptr;
    std::size_t m_jobsShown = 0;
    std::vector<QueueController::Job> m_added; // since the last turn
    QTimer m_nextTurn;
    QVBoxLayout* m_bars;     // above the list
    QStackedLayout* m_stack; // the list, or what stands in its place while it is empty
};

} // namespace tarvo
