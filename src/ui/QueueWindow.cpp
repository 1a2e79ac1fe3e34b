#include "ui/QueueWindow.h"

#include <algorithm>

#include <QDragEnterEvent>
#include <QMenuBar>

#include "base/Runloop.h"
#include "input/TRPasteboardExtractor.h"
#include "ui/PasteboardData.h"
#include "ui/Text.h"
#include "ui/WindowMenus.h"

namespace tarvo {

QueueWindow::QueueWindow(const WindowEnvironment& environment)
    : m_environment(environment), m_queue(environment.queue), m_rows(m_queue.remoteFiles()),
      m_actions(new Actions(this)), m_toolBar(new MainToolBar(*m_actions, this)), m_list(new QListView(this)),
      m_bars(new QVBoxLayout), m_stack(new QStackedLayout) {
    Runloop::assertMain();
    setWindowTitle(QStringLiteral("Tarvo"));
    resize(860, 560);
    setAcceptDrops(true);
    m_list->setModel(&m_rows);
    m_list->setAccessibleName(text("tr.list.name"));
    m_list->setUniformItemSizes(true);
    m_list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    placeParts();
    connectActions();
}

void QueueWindow::placeParts() {
    fillMenuBar(*menuBar(), *m_actions);
    addToolBar(m_toolBar);
    auto* middle = new QWidget(this);
    auto* rows = new QVBoxLayout(middle);
    rows->setContentsMargins({});
    rows->setSpacing(0);
    rows->addLayout(m_bars);
    rows->addLayout(m_stack);
    m_stack->addWidget(m_list);
    setCentralWidget(middle);
}

std::vector<QueueController::Job> QueueWindow::selectedJobs() const {
    auto selected = m_list->selectionModel()->selectedRows();
    std::sort(selected.begin(), selected.end());
    std::vector<QueueController::Job> jobs;
    for (const auto& index : selected)
        jobs.push_back(m_rows.jobAt(index));
    return jobs;
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
    connect(m_actions->filters, &QActionGroup::triggered, this, [this](const QAction* filter) {
        m_queue.remoteFiles().setFilter(
            JobFilter::all().at(static_cast<std::size_t>(filter->data().toInt())));
    });
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
