#include "ui/RowCommands.h"

#include "base/Runloop.h"
#include "rows/RowMoves.h"

namespace tarvo {

RowCommands::RowCommands(QueueController& queue, const Actions& actions, RowsModel& rows, QueueView& list,
                         SearchField& search)
    : m_queue(queue), m_list(list), m_search(search) {
    Runloop::assertMain();
    connect(&list, &QueueView::informationClicked, actions.information, &QAction::trigger);
    connect(actions.filters, &QActionGroup::triggered, this, [this](const QAction* filter) {
        m_queue.remoteFiles().setFilter(
            JobFilter::all().at(static_cast<std::size_t>(filter->data().toInt())));
    });
    connectMoves(actions);
    connectSearch(actions);
    followRunState(rows);
}

void RowCommands::connectMoves(const Actions& actions) {
    using Moves = std::vector<RowMove> (*)(const std::set<int>& rows, int rowCount);
    const auto moveBy = [this](QAction* action, Moves moves) {
        connect(action, &QAction::triggered, this, [this, moves] {
            auto& rows = m_queue.remoteFiles();
            for (const auto& move : moves(m_list.selectedRows(), rows.rowCount()))
                rows.moveObjectsInArrangedObjects(move.rows, move.before);
            m_list.scrollToSelection();
        });
    };
    moveBy(actions.moveToTop, movesToTop);
    moveBy(actions.moveUp, movesUp);
    moveBy(actions.moveDown, movesDown);
    moveBy(actions.moveToBottom, movesToBottom);
}

void RowCommands::connectSearch(const Actions& actions) {
    connect(actions.find, &QAction::triggered, &m_search, [this] {
        m_search.setFocus(Qt::ShortcutFocusReason);
        m_search.selectAll();
    });
    connect(&m_search, &QLineEdit::textChanged, this,
            [this](const QString& words) { m_queue.remoteFiles().setSearch(words.toStdString()); });
    connect(&m_search, &SearchField::left, &m_list, [this] { m_list.enter(); });
}

void RowCommands::followRunState(RowsModel& rows) {
    const auto follow = [this, &rows](QueueRunState state) {
        rows.setSchedulerIsActive(state == QueueRunState::running);
        m_list.feed().refresh();
    };
    connect(&m_queue, &QueueController::runStateChanged, this, follow);
    follow(m_queue.runState());
}

} // namespace tarvo
