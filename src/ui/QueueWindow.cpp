#include "ui/QueueWindow.h"

#include <QDragEnterEvent>
#include <QMenuBar>

#include "base/Runloop.h"
#include "input/TRPasteboardExtractor.h"
#include "ui/FilterBar.h"
#include "ui/JobPanels.h"
#include "ui/PasteboardData.h"
#include "ui/WindowMenus.h"

namespace tarvo {

QueueWindow::QueueWindow(const WindowEnvironment& environment)
    : m_environment(environment), m_queue(environment.queue),
      m_rows(new RowsModel(m_queue.remoteFiles(), environment.jobs.clock, this)),
      m_actions(new Actions(this)), m_toolBar(new MainToolBar(*m_actions, this)),
      m_list(new QueueView(m_queue.remoteFiles(), *m_rows, this)), m_search(new SearchField(this)),
      m_rowCommands(m_queue, *m_actions, *m_rows, *m_list, *m_search), m_bars(new QVBoxLayout),
      m_stack(new QStackedLayout) {
    Runloop::assertMain();
    setWindowTitle(QStringLiteral("Tarvo"));
    resize(860, 560);
    setAcceptDrops(true);
    placeParts();
    connectActions();
    new JobPanels(m_queue.remoteFiles(), *m_rows, *m_list, *m_actions, m_environment.jobs.clock, *this);
}

void QueueWindow::placeParts() {
    fillMenuBar(*menuBar(), *m_actions);
    addToolBar(m_toolBar);
    m_toolBar->setSearchField(*m_search);
    auto* middle = new QWidget(this);
    auto* rows = new QVBoxLayout(middle);
    rows->setContentsMargins({});
    rows->setSpacing(0);
    rows->addLayout(m_bars);
    rows->addWidget(new FilterBar(m_queue.remoteFiles(), *m_actions, middle));
    rows->addLayout(m_stack);
    m_stack->addWidget(m_list);
    setCentralWidget(middle);
}

void QueueWindow::connectActions() {
    connect(m_actions->startPause, &QAction::triggered, &m_queue, &QueueController::toggleAutorun);
    connect(m_actions->clearCompleted, &QAction::triggered, &m_queue, &QueueController::clearCompleted);
    connect(m_actions->pause, &QAction::triggered, this, [this] { m_queue.pause(selectedJobs()); });
    connect(m_actions->resume, &QAction::triggered, this, [this] { m_queue.resume(selectedJobs()); });
    connect(m_actions->reload, &QAction::triggered, this, [this] { m_queue.reload(selectedJobs()); });
    connect(m_actions->remove, &QAction::triggered, this, [this] { m_queue.remove(selectedJobs()); });
    connect(m_actions->removeWithData, &QAction::triggered, this,
            [this] { m_queue.removeWithData(selectedJobs()); });
    connect(m_actions->quit, &QAction::triggered, &m_queue, &QueueController::quit);
    connect(m_list, &QueueView::dropped, this, &QueueWindow::dropped);
}

void QueueWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (event->source()) // a row of the list
        return;
    const auto offered =
        TRPasteboardExtractor::suggestedDragOperationForPboard(pasteboardOf(*event->mimeData()));
    if (offered == DragOperation::none)
        return;
    event->setDropAction(Qt::CopyAction);
    event->accept();
}

void QueueWindow::dropEvent(QDropEvent* event) {
    event->setDropAction(Qt::CopyAction);
    event->accept();
    Q_EMIT dropped(pasteboardOf(*event->mimeData()));
}

} // namespace tarvo
