#include "ui/SelectionCommands.h"

#include <algorithm>
#include <array>
#include <functional>
#include <utility>

#include <QClipboard>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>

#include "base/Runloop.h"
#include "base/Settings.h"
#include "rows/CommandRules.h"
#include "ui/Text.h"
#include "ui/WindowMenus.h"

namespace tarvo {

namespace {

constexpr std::size_t kMostOpened = 20; // each in a program of its own, perhaps
constexpr std::array kConnectionsOffered{1, 2, 4, 8, 10, 16, 32, 64};

/// What of the job on the disk a person would look for.
std::string placeOf(const RemoteFile& job) {
    if (const auto file = job.finalFilePath())
        return *file;
    const bool mayHaveBundle = job.currentState() >= rf_state_ready;
    return (mayHaveBundle ? job.activeFile() : std::nullopt).value_or(job.basePath());
}

} // namespace

SelectionCommands::SelectionCommands(const WindowEnvironment& environment, Actions& actions,
                                     QAbstractItemView& list, std::function<Jobs()> selectedJobs)
    : m_environment(environment), m_queue(environment.queue), m_actions(actions), m_list(list),
      m_selectedJobs(std::move(selectedJobs)), m_opener(environment.alerts) {
    Runloop::assertMain();
    m_refresh.setSingleShot(true);
    m_refresh.setInterval(0);
    connect(&m_refresh, &QTimer::timeout, this, [this] {
        if (m_list.window()->isVisible())
            refresh();
    });
    followChanges();
    connectQueue();
    connectFiles();
    offerConnections();
    keepKeysToList();
    m_list.installEventFilter(this);
    m_list.window()->installEventFilter(this);
    m_list.setContextMenuPolicy(Qt::CustomContextMenu);
    connect(&m_list, &QWidget::customContextMenuRequested, this, &SelectionCommands::showRowMenu);
    showStartStopControl();
    refresh();
}

void SelectionCommands::followChanges() {
    const auto soon = [this] { refreshSoon(); };
    const auto* model = m_list.model();
    connect(m_list.selectionModel(), &QItemSelectionModel::selectionChanged, this, soon);
    connect(model, &QAbstractItemModel::rowsInserted, this, soon);
    connect(model, &QAbstractItemModel::rowsRemoved, this, soon);
    connect(model, &QAbstractItemModel::rowsMoved, this, soon);
    connect(model, &QAbstractItemModel::layoutChanged, this, soon);
    connect(model, &QAbstractItemModel::modelReset, this, soon);
    const auto& jobs = m_queue.remoteFiles();
    connect(&jobs, &RemoteFilesArrayController::allChildStatesChanged, this, soon);
    connect(&jobs, &RemoteFilesArrayController::rowReplaced, this, soon);
    connect(&m_queue, &QueueController::runStateChanged, this, &SelectionCommands::showStartStopControl);
}

void SelectionCommands::connectQueue() {
    const auto onSelected = [this](QAction* action, void (QueueController::*command)(const Jobs&)) {
        connect(action, &QAction::triggered, this, [this, command] {
            const Jobs jobs = m_selectedJobs();
            std::invoke(command, m_queue, jobs);
        });
    };
    onSelected(m_actions.pause, &QueueController::pause);
    onSelected(m_actions.resume, &QueueController::resume);
    onSelected(m_actions.reload, &QueueController::reload);
    onSelected(m_actions.remove, &QueueController::remove);
    onSelected(m_actions.removeWithData, &QueueController::removeWithData);
    connect(m_actions.pauseOrResume, &QAction::triggered, this, &SelectionCommands::pauseOrResume);
    connect(m_actions.clearCompleted, &QAction::triggered, &m_queue, &QueueController::clearCompleted);
    connect(m_actions.startPause, &QAction::triggered, this, [this] {
        m_queue.toggleAutorun();
        showStartStopControl(); // a click has switched the button, whatever came of it
    });
}

void SelectionCommands::connectFiles() {
    connect(m_actions.open, &QAction::triggered, this, &SelectionCommands::openOrInform);
    connect(&m_list, &QAbstractItemView::doubleClicked, this, &SelectionCommands::openOrInform);
    connect(m_actions.showInFolder, &QAction::triggered, this, [this] {
        std::vector<std::string> places;
        for (const auto& job : m_selectedJobs())
            places.push_back(placeOf(*job));
        m_opener.showInFolder(places);
    });
    connect(m_actions.copyAddress, &QAction::triggered, this, &SelectionCommands::copyAddresses);
}

void SelectionCommands::showDownloadFolder() {
    m_opener.openFolder(Settings(m_environment.defaults).defaultDirectory(m_environment.homeFolder));
}

void SelectionCommands::offerConnections() {
    auto* menu = new QMenu(&m_list);
    auto* numbers = new QActionGroup(this);
    for (const int number : kConnectionsOffered) {
        auto* offered = numbers->addAction(QString::number(number));
        offered->setCheckable(true);
        offered->setData(number);
        menu->addAction(offered);
    }
    m_actions.connections->setMenu(menu);
    connect(menu, &QMenu::aboutToShow, this, [this, numbers] {
        const Jobs jobs = m_selectedJobs();
        for (auto* offered : numbers->actions()) {
            const auto isAskedFor = [number = offered->data().toInt()](const QueueController::Job& job) {
                return job->userRequestedPartitions() == number;
            };
            offered->setChecked(!jobs.empty() && std::all_of(jobs.begin(), jobs.end(), isAskedFor));
        }
    });
    connect(numbers, &QActionGroup::triggered, this, [this](const QAction* chosen) {
        m_queue.setConnections(m_selectedJobs(), chosen->data().toInt());
    });
}

/// In a text field the same keys mean something else.
void SelectionCommands::keepKeysToList() {
    for (auto* action :
         {m_actions.open, m_actions.copyAddress, m_actions.pauseOrResume, m_actions.reload,
          m_actions.moveToTop, m_actions.moveUp, m_actions.moveDown, m_actions.moveToBottom, m_actions.rename,
          m_actions.information, m_actions.remove, m_actions.removeWithData}) {
        action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
        m_list.addAction(action);
    }
}

void SelectionCommands::refresh() {
    using enum RowCommand;
    SelectionFacts facts;
    auto& rows = m_queue.remoteFiles();
    for (const auto& job : m_selectedJobs())
        facts.add(selectedRowOf(*job), static_cast<std::size_t>(rows.rowOf(*job).value_or(0)));
    m_pausesRather = facts.pausesRather();
    const auto enabled = facts.enabled(static_cast<std::size_t>(rows.rowCount()));
    const auto enable = [&](RowCommand command, const std::initializer_list<QAction*>& actions) {
        for (auto* action : actions)
            action->setEnabled(enabled.contains(command));
    };
    enable(open, {m_actions.open});
    enable(showInFolder, {m_actions.showInFolder});
    enable(copyAddress, {m_actions.copyAddress});
    enable(pause, {m_actions.pause});
    enable(resume, {m_actions.resume});
    enable(reload, {m_actions.reload});
    enable(moveUp, {m_actions.moveUp, m_actions.moveToTop});
    enable(moveDown, {m_actions.moveDown, m_actions.moveToBottom});
    enable(connections, {m_actions.connections});
    enable(rename, {m_actions.rename});
    enable(changeAddress, {m_actions.changeAddress});
    enable(checksums, {m_actions.checksums});
    enable(information, {m_actions.information});
    enable(remove, {m_actions.remove, m_actions.removeWithData});
    m_actions.pauseOrResume->setEnabled(enabled.contains(pause) || enabled.contains(resume));
    m_actions.clearCompleted->setEnabled(rows.succeededJobs() > 0);
}

void SelectionCommands::showStartStopControl() {
    m_actions.showStartStopControl(m_queue.startStopControl());
}

void SelectionCommands::pauseOrResume() {
    if (m_pausesRather)
        m_queue.pause(m_selectedJobs());
    else
        m_queue.resume(m_selectedJobs());
}

/// Finished files are opened; where there is none, the information is what a person wants to see.
void SelectionCommands::openOrInform() {
    std::vector<std::string> files;
    for (const auto& job : m_selectedJobs()) {
        if (const auto file = job->finalFilePath(); file && job->currentState() == rf_state_succeeded)
            files.push_back(*file);
    }
    if (files.empty())
        m_actions.information->trigger();
    else if (files.size() <= kMostOpened)
        m_opener.open(files);
    else
        m_environment.alerts.presentError(Error::tarvo(localizedCount("tr.open.too-many", kMostOpened)));
}

void SelectionCommands::copyAddresses() const {
    QStringList addresses;
    for (const auto& job : m_selectedJobs()) {
        if (const auto url = job->url())
            addresses << QString::fromStdString(url->withoutPassword());
    }
    QGuiApplication::clipboard()->setText(addresses.join(u'\n'));
}

void SelectionCommands::showRowMenu(const QPoint& place) {
    auto* menu = new QMenu(&m_list);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    if (m_list.selectionModel()->hasSelection()) {
        refresh();
        fillRowMenu(*menu, m_actions);
    } else {
        menu->addActions({m_actions.add, m_actions.addFromClipboard, m_actions.startPause});
    }
    menu->popup(m_list.viewport()->mapToGlobal(place));
}

/// The key that opens is not heard while that is disabled.
bool SelectionCommands::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Show)
        refreshSoon();
    if (watched == &m_list && event->type() == QEvent::KeyPress && !m_actions.open->isEnabled()) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        const auto modifiers = static_cast<QKeyEvent*>(event)->modifiers();
        if ((key == Qt::Key_Return || key == Qt::Key_Enter) && !(modifiers & ~Qt::KeypadModifier)) {
            m_actions.information->trigger();
            return true;
        }
    }
    return QObject::eventFilter(watched, event);
}

} // namespace tarvo
