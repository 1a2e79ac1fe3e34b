#include "ui/QueueWindow.h"

#include <algorithm>

#include <QMenuBar>
#include <QToolBar>

#include "base/Runloop.h"
#include "ui/Text.h"

namespace tarvo {

QueueWindow::QueueWindow(QueueController& queue, const JobEnvironment& jobs)
    : m_queue(queue), m_jobs(jobs), m_rows(queue.remoteFiles()), m_actions(new Actions(this)),
      m_list(new QListView(this)) {
    Runloop::assertMain();
    setWindowTitle(QStringLiteral("Tarvo"));
    resize(860, 560);
    m_list->setModel(&m_rows);
    m_list->setAccessibleName(text("tr.list.name"));
    m_list->setUniformItemSizes(true);
    m_list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    setCentralWidget(m_list);
    makeMenus();
    makeToolBar();
    connectActions();
}

std::vector<QueueController::Job> QueueWindow::selectedJobs() const {
    auto selected = m_list->selectionModel()->selectedRows();
    std::sort(selected.begin(), selected.end());
    std::vector<QueueController::Job> jobs;
    for (const auto& index : selected)
        jobs.push_back(m_rows.jobAt(index));
    return jobs;
}

void QueueWindow::makeMenus() {
    auto* file = menuBar()->addMenu(text("tr.menu.file"));
    file->addActions({m_actions->add, m_actions->addFromClipboard});
    file->addSeparator();
    file->addActions({m_actions->preferences, m_actions->quit});
    auto* download = menuBar()->addMenu(text("tr.menu.download"));
    download->addActions({m_actions->open, m_actions->showInFolder, m_actions->copyAddress});
    download->addSeparator();
    download->addActions({m_actions->pauseOrResume, m_actions->pause, m_actions->resume, m_actions->reload});
    download->addSeparator();
    download->addActions(
        {m_actions->moveToTop, m_actions->moveUp, m_actions->moveDown, m_actions->moveToBottom});
    download->addSeparator();
    download->addActions(
        {m_actions->connections, m_actions->rename, m_actions->checksums, m_actions->information});
    download->addSeparator();
    download->addActions({m_actions->remove, m_actions->removeWithData});
    auto* queue = menuBar()->addMenu(text("tr.menu.queue"));
    queue->addActions({m_actions->startPause, m_actions->clearCompleted});
    auto* view = menuBar()->addMenu(text("tr.menu.view"));
    view->addActions(m_actions->filters->actions());
    view->addSeparator();
    view->addActions({m_actions->find, m_actions->preview, m_actions->log});
    auto* help = menuBar()->addMenu(text("tr.menu.help"));
    help->addActions({m_actions->help, m_actions->about});
}

void QueueWindow::makeToolBar() {
    auto* bar = addToolBar(text("tr.menu.toolbar"));
    bar->setObjectName(QStringLiteral("toolbar"));
    bar->addActions({m_actions->add, m_actions->startPause, m_actions->resume, m_actions->pause,
                     m_actions->remove, m_actions->information});
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

} // namespace tarvo
