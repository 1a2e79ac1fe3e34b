#include "ui/QueueWindow.h"

#include <algorithm>
#include <utility>

#include <QApplication>
#include <QDragEnterEvent>
#include <QMenuBar>
#include <QMessageBox>

#include "base/Runloop.h"
#include "input/TRPasteboardExtractor.h"
#include "ui/AddressDialog.h"
#include "ui/FilterBar.h"
#include "ui/Icons.h"
#include "ui/JobPanels.h"
#include "ui/PasteboardData.h"
#include "ui/RenameDialog.h"
#include "ui/SelectionCommands.h"
#include "ui/StatusBar.h"
#include "ui/Text.h"
#include "ui/WindowMenus.h"

namespace tarvo {

QueueWindow::QueueWindow(const WindowEnvironment& environment)
    : m_environment(environment), m_queue(environment.queue),
      m_rows(new RowsModel(m_queue.remoteFiles(), environment.jobs.clock, this)),
      m_actions(new Actions(this)), m_toolBar(new MainToolBar(*m_actions, this)),
      m_list(new QueueView(m_queue.remoteFiles(), *m_rows, this)), m_search(new SearchField(this)),
      m_rowCommands(m_queue, *m_actions, *m_rows, *m_list, *m_search),
      m_empty(new EmptyNote(*m_actions, this)), m_hintBar(new HintBar(this)),
      m_freeSpace(environment.jobs.disk), m_hints(environment, *m_actions, m_freeSpace, *m_hintBar),
      m_bars(new QVBoxLayout), m_stack(new QStackedLayout) {
    Runloop::assertMain();
    setWindowTitle(QStringLiteral("Tarvo")); // not translated: the name
    resize(860, 560);
    setAcceptDrops(true);
    placeParts();
    connectActions();
    m_selectionCommands = std::make_unique<SelectionCommands>(environment, *m_actions, *m_list,
                                                              [this] { return selectedJobs(); });
    new JobPanels(m_queue.remoteFiles(), *m_rows, *m_list, *m_actions, m_environment.jobs.clock, *this);
    showListOrNote();
    m_stack->currentWidget()->setFocus();
    m_jobsShown = m_queue.remoteFiles().content().size();
}

QueueWindow::~QueueWindow() = default;

void QueueWindow::placeParts() {
    fillMenuBar(*menuBar(), *m_actions);
    addToolBar(m_toolBar);
    m_toolBar->setSearchField(*m_search);
    auto* middle = new QWidget(this);
    auto* rows = new QVBoxLayout(middle);
    rows->setContentsMargins({});
    rows->setSpacing(0);
    rows->addLayout(m_bars);
    m_bars->addWidget(m_hintBar);
    rows->addWidget(new FilterBar(m_queue.remoteFiles(), *m_actions, middle));
    rows->addLayout(m_stack);
    m_stack->addWidget(m_list);
    m_stack->addWidget(m_empty);
    setStatusBar(new StatusBar(m_environment, m_freeSpace, this));
    setCentralWidget(middle);
}

void QueueWindow::connectActions() {
    connect(m_actions->rename, &QAction::triggered, this, &QueueWindow::rename);
    connect(m_actions->changeAddress, &QAction::triggered, this, &QueueWindow::changeAddress);
    connect(m_actions->help, &QAction::triggered, this, &QueueWindow::showManual);
    connect(m_actions->about, &QAction::triggered, this, &QueueWindow::showAbout);
    connect(&m_hints, &Hints::wantsFolder, this, [this] { m_selectionCommands->showDownloadFolder(); });
    connect(m_rows, &QAbstractItemModel::rowsInserted, this, &QueueWindow::showListOrNote);
    connect(m_rows, &QAbstractItemModel::rowsRemoved, this, &QueueWindow::showListOrNote);
    connect(m_rows, &QAbstractItemModel::modelReset, this, &QueueWindow::showListOrNote);
    m_nextTurn.setSingleShot(true);
    m_nextTurn.setInterval(0);
    connect(&m_nextTurn, &QTimer::timeout, this, [this] { showAdded(std::exchange(m_added, {})); });
    connect(&m_queue.remoteFiles(), &RemoteFilesArrayController::contentArraySizeChanged, this,
            &QueueWindow::followAdded);
    connect(m_empty, &EmptyNote::wantsAll, this, [this] {
        m_search->clear();
        m_actions->filters->actions().front()->trigger();
    });
    connect(m_actions->quit, &QAction::triggered, &m_queue, &QueueController::quit);
    connect(m_list, &QueueView::dropped, this, &QueueWindow::dropped);
}

void QueueWindow::showListOrNote() {
    const bool hasRows = m_rows->rowCount() > 0;
    const bool isEmpty = m_queue.remoteFiles().content().size() == 0;
    const auto* focus = focusWidget(); // before the note's buttons come and go
    const bool wasHere = !focus || focus == m_list || m_empty->isAncestorOf(focus);
    m_empty->setReason(isEmpty ? EmptyNote::Reason::queueIsEmpty : EmptyNote::Reason::noneFits);
    m_stack->setCurrentWidget(hasRows ? static_cast<QWidget*>(m_list) : m_empty);
    if (wasHere)
        m_stack->currentWidget()->setFocus();
}

/// What is added comes at the end of the queue; its rows are there on the next turn.
void QueueWindow::followAdded() {
    const std::size_t before = std::exchange(m_jobsShown, m_queue.remoteFiles().content().size());
    if (m_jobsShown <= before || !isVisible())
        return;
    const auto jobs = m_queue.remoteFiles().contentAsArray();
    m_added.insert(m_added.end(), jobs.begin() + static_cast<std::ptrdiff_t>(before), jobs.end());
    m_nextTurn.start();
}

/// The first of them is selected if no row is: one key must not act on a hundred that have just come. The
/// focus stays where it is.
void QueueWindow::showAdded(const std::vector<QueueController::Job>& jobs) {
    if (jobs.empty())
        return;
    if (!m_list->selectionModel()->hasSelection()) {
        m_list->select({jobs.front()});
        m_list->scrollToSelection();
    } else if (const auto row = m_queue.remoteFiles().rowOf(*jobs.front())) {
        m_list->scrollTo(m_rows->index(*row));
    }
}

void QueueWindow::rename() {
    const auto jobs = selectedJobs();
    if (jobs.size() != 1)
        return;
    const auto give = [this, job = jobs.front()](const std::string& name) {
        return m_queue.rename(job, name);
    };
    auto* dialog = new RenameDialog(QString::fromStdString(jobs.front()->fileName()), give, this);
    dialog->open();
}

void QueueWindow::changeAddress() {
    const auto jobs = selectedJobs();
    if (jobs.size() != 1 || !jobs.front()->url())
        return;
    // A retry may put another job into the row meanwhile.
    const auto change = [this, identity = jobs.front()->identity()](const Url& address) {
        return m_queue.addressChanges().change(m_queue.remoteFiles().remoteFile(identity), address);
    };
    (new AddressDialog(*jobs.front()->url(), change, this))->open();
}

void QueueWindow::showManual() {
    if (!m_manual)
        m_manual = new ManualWindow(this);
    m_manual->show();
    m_manual->activateWindow();
}

void QueueWindow::showAbout() {
    auto* box = new QMessageBox(QMessageBox::NoIcon, QStringLiteral("Tarvo"),
                                text("tr.about", {TARVO_VERSION}), QMessageBox::NoButton, this);
    box->addButton(text("tr.preferences.close"), QMessageBox::RejectRole);
    box->setInformativeText(text("tr.about.what"));
    box->setIconPixmap(Icons::ofApplication().pixmap(64));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

/// The keys for rows work at once.
void QueueWindow::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    if (event->spontaneous() || m_rows->rowCount() == 0 || m_list->selectionModel()->hasSelection())
        return;
    m_list->selectionModel()->setCurrentIndex(m_rows->index(0), QItemSelectionModel::ClearAndSelect);
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
