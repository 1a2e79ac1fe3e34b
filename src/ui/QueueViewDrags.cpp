// Drags of the list: rows to another place in it, finished files out of it, links and bundles into it.
#include "ui/QueueView.h"

#include <QDrag>
#include <QDropEvent>
#include <QMimeData>
#include <QUrl>

#include "input/TRPasteboardExtractor.h"
#include "ui/PasteboardData.h"

namespace tarvo {

namespace {

constexpr const char* kRowsType = "application/x-tarvo-rows";

QList<QUrl> finishedFilesOf(const std::vector<std::shared_ptr<RemoteFile>>& jobs) {
    QList<QUrl> files;
    for (const auto& job : jobs) {
        const auto path = job->currentState() == rf_state_succeeded ? job->finalFilePath() : std::nullopt;
        if (path)
            files.append(QUrl::fromLocalFile(QString::fromStdString(*path)));
    }
    return files;
}

} // namespace

/// Finished files are copied by what they are dropped on: moving them away is for a file manager.
void QueueView::startDrag(Qt::DropActions) {
    m_dragged = selectedJobs();
    if (m_dragged.empty())
        return;
    auto* carried = new QMimeData;
    carried->setData(QString::fromLatin1(kRowsType), {});
    const auto files = finishedFilesOf(m_dragged);
    if (!files.isEmpty())
        carried->setUrls(files);
    auto* drag = new QDrag(this); // which Qt deletes: another program fetches the data after exec() has ended
    drag->setMimeData(carried);
    drag->setPixmap(m_delegate->icons()
                        .iconOf(QString::fromStdString(m_dragged.front()->displayName()))
                        .pixmap(RowGeometry::kIcon));
    if (files.isEmpty())
        drag->exec(Qt::MoveAction);
    else
        drag->exec(Qt::CopyAction | Qt::LinkAction, Qt::CopyAction);
    m_dragged.clear();
}

bool QueueView::isOwn(const QDropEvent& event) const {
    return event.source() == this && !m_dragged.empty();
}

void QueueView::dragEnterEvent(QDragEnterEvent* event) {
    QListView::dragEnterEvent(event);
    const bool isOffered = TRPasteboardExtractor::suggestedDragOperationForPboard(
                               pasteboardOf(*event->mimeData())) == DragOperation::copy;
    if (isOwn(*event)) {
        event->acceptProposedAction();
    } else if (isOffered && !event->source()) {
        event->setDropAction(Qt::CopyAction);
        event->accept();
    } else {
        event->ignore();
    }
}

void QueueView::dragMoveEvent(QDragMoveEvent* event) {
    QListView::dragMoveEvent(event); // scrolls at the edges
    if (isOwn(*event)) {
        showDropRow(dropRowAt(event->position().toPoint()));
        event->acceptProposedAction();
    } else {
        event->setDropAction(Qt::CopyAction);
        event->accept();
    }
}

void QueueView::dragLeaveEvent(QDragLeaveEvent* event) {
    QListView::dragLeaveEvent(event);
    showDropRow(-1);
}

void QueueView::dropEvent(QDropEvent* event) {
    stopAutoScroll();
    setState(NoState);
    showDropRow(-1);
    if (!isOwn(*event)) {
        event->setDropAction(Qt::CopyAction);
        event->accept();
        Q_EMIT dropped(pasteboardOf(*event->mimeData()));
        return;
    }
    event->acceptProposedAction();
    std::set<int> rows; // they may have changed since the drag began
    for (const auto& job : m_dragged) {
        if (const auto row = m_queue.rowOf(*job))
            rows.insert(*row);
    }
    if (!rows.empty())
        m_queue.moveObjectsInArrangedObjects(rows, dropRowAt(event->position().toPoint()));
    scrollToSelection();
}

int QueueView::dropRowAt(const QPoint& position) const {
    const QModelIndex under = indexAt(position);
    if (!under.isValid())
        return m_rows.rowCount();
    return under.row() + (position.y() > visualRect(under).center().y() ? 1 : 0);
}

void QueueView::showDropRow(int row) {
    if (std::exchange(m_dropRow, row) != row)
        viewport()->update();
}

} // namespace tarvo
