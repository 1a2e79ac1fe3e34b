#include "ui/QueueView.h"

#include <algorithm>

#include <QPaintEvent>
#include <QPainter>

#include "base/Runloop.h"
#include "ui/Text.h"

namespace tarvo {

QueueView::QueueView(RemoteFilesArrayController& queue, RowsModel& rows, QWidget* parent)
    : QListView(parent), m_queue(queue), m_rows(rows), m_delegate(new RowDelegate(rows, this)),
      m_feed(rows, queue, [this] { return rowsInSight(); }) {
    Runloop::assertMain();
    setAccessibleName(text("tr.list.name"));
    setItemDelegate(m_delegate);
    setUniformItemSizes(true);
    setSelectionMode(ExtendedSelection);
    setVerticalScrollMode(ScrollPerPixel);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setDragDropMode(DragDrop);
    setDropIndicatorShown(false); // the view draws its own: rows are dropped between rows only
    setModel(&rows);
    keepSelectionOverResets();
    connect(&m_delegate->icons(), &FileIcons::loaded, viewport(), qOverload<>(&QWidget::update));
    connect(m_delegate, &RowDelegate::informationClicked, this, [this](const QModelIndex& index) {
        selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
        Q_EMIT informationClicked();
    });
}

std::set<int> QueueView::selectedRows() const {
    std::set<int> rows;
    for (const auto& range : selectionModel()->selection()) {
        for (int row = range.top(); row <= range.bottom(); ++row)
            rows.insert(row);
    }
    return rows;
}

std::vector<QueueView::Job> QueueView::selectedJobs() const {
    std::vector<Job> jobs;
    for (const int row : selectedRows())
        jobs.push_back(m_queue.jobAt(row));
    return jobs;
}

void QueueView::select(const std::vector<Job>& jobs) {
    std::set<int> rows;
    for (const auto& job : jobs) {
        if (const auto row = m_queue.rowOf(*job))
            rows.insert(*row);
    }
    QItemSelection ranges;
    for (const int row : rows) {
        if (ranges.isEmpty() || ranges.back().bottom() != row - 1)
            ranges.append(QItemSelectionRange(m_rows.index(row)));
        else
            ranges.back() = QItemSelectionRange(ranges.back().topLeft(), m_rows.index(row));
    }
    if (!rows.empty())
        selectionModel()->setCurrentIndex(m_rows.index(*rows.begin()), QItemSelectionModel::NoUpdate);
    selectionModel()->select(ranges, QItemSelectionModel::ClearAndSelect);
}

void QueueView::enter() {
    setFocus(Qt::OtherFocusReason);
    if (!selectionModel()->hasSelection() && m_rows.rowCount() > 0)
        selectionModel()->setCurrentIndex(m_rows.index(0), QItemSelectionModel::ClearAndSelect);
}

void QueueView::scrollToSelection() {
    const auto rows = selectedRows();
    if (rows.contains(currentIndex().row()))
        scrollTo(currentIndex());
    else if (!rows.empty())
        scrollTo(m_rows.index(*rows.begin()));
}

/// A filter or a search that shows others resets the model. What was selected is selected again once it is
/// shown again, unless the user has selected other rows meanwhile.
void QueueView::keepSelectionOverResets() {
    connect(selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { m_hasChosenAnew = m_hasChosenAnew || !m_isResetting; });
    connect(&m_rows, &RowsModel::modelAboutToBeReset, this, [this] {
        if (std::exchange(m_hasChosenAnew, false))
            rememberSelection();
        m_isResetting = true;
    });
    connect(&m_rows, &RowsModel::modelReset, this, [this] {
        selectRemembered();
        m_isResetting = false;
    });
    connect(&m_queue, &RemoteFilesArrayController::jobReplaced, this,
            [this](const Job& old, const Job& fresh) {
                for (auto& chosen : m_chosen) {
                    if (chosen.lock() == old)
                        chosen = fresh;
                }
            });
}

void QueueView::rememberSelection() {
    const auto jobs = selectedJobs();
    m_chosen.assign(jobs.begin(), jobs.end());
    m_chosenCurrent = m_rows.jobAt(currentIndex());
}

void QueueView::selectRemembered() {
    std::vector<Job> jobs;
    for (const auto& chosen : m_chosen) {
        if (auto job = chosen.lock())
            jobs.push_back(std::move(job));
    }
    select(jobs);
    const Job current = m_chosenCurrent.lock();
    const QModelIndex index = current ? m_rows.indexOf(*current) : QModelIndex();
    if (!index.isValid())
        return;
    selectionModel()->setCurrentIndex(index, QItemSelectionModel::NoUpdate);
    scrollTo(index);
}

RowRange QueueView::rowsInSight() const {
    if (m_rows.rowCount() == 0 || window()->isMinimized())
        return {};
    const QModelIndex first = indexAt(QPoint(0, 0));
    const QModelIndex last = indexAt(QPoint(0, viewport()->height() - 1));
    return {std::max(0, first.row()), last.isValid() ? last.row() : m_rows.rowCount() - 1};
}

void QueueView::dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                            const QList<int>& roles) {
    QAbstractItemView::dataChanged(topLeft, bottomRight, roles); // NOLINT(bugprone-parent-virtual-call)
}

/// The row behind those that leave becomes the current one.
void QueueView::rowsAboutToBeRemoved(const QModelIndex& parent, int first, int last) {
    const RowRange leaving{first, last};
    if (leaving.contains(currentIndex().row()) && last + 1 < m_rows.rowCount())
        selectionModel()->setCurrentIndex(m_rows.index(last + 1), QItemSelectionModel::NoUpdate);
    QListView::rowsAboutToBeRemoved(parent, first, last);
}

void QueueView::showEvent(QShowEvent* event) {
    QListView::showEvent(event);
    m_feed.setVisible(true);
}

void QueueView::hideEvent(QHideEvent* event) {
    m_feed.setVisible(false);
    QListView::hideEvent(event);
}

void QueueView::changeEvent(QEvent* event) {
    QListView::changeEvent(event);
    if (event->type() == QEvent::StyleChange || event->type() == QEvent::PaletteChange) {
        m_delegate->loadIcons();
        viewport()->update();
    }
}

void QueueView::paintEvent(QPaintEvent* event) {
    QListView::paintEvent(event);
    if (m_dropRow < 0)
        return;
    const int count = m_rows.rowCount();
    const int y = count == 0          ? 0
                  : m_dropRow < count ? visualRect(m_rows.index(m_dropRow)).top()
                                      : visualRect(m_rows.index(count - 1)).bottom() + 1;
    QPainter painter(viewport());
    painter.fillRect(0, std::max(0, y - 1), viewport()->width(), 3, palette().color(QPalette::Text));
}

} // namespace tarvo
