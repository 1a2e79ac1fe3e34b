// The list of downloads: what is selected of it, what is in sight, what is dragged and dropped.
#pragma once

#include <memory>
#include <set>
#include <vector>

#include <QListView>

#include "input/Pasteboard.h"
#include "queue/RemoteFilesArrayController.h"
#include "rows/RowsFeed.h"
#include "rows/RowsModel.h"
#include "ui/RowDelegate.h"

namespace tarvo {

/// Main thread. What a row's button, double click and keys do is connected by those who do it.
class QueueView final : public QListView {
    Q_OBJECT

public:
    using Job = std::shared_ptr<RemoteFile>;

    /// Both outlive the view.
    QueueView(RemoteFilesArrayController& queue, RowsModel& rows, QWidget* parent);

    /// In their order.
    std::vector<Job> selectedJobs() const;
    std::set<int> selectedRows() const;

    /// Selects the rows of those that are shown, and nothing else; the first of them becomes the current one.
    void select(const std::vector<Job>& jobs);

    /// Takes the keyboard, with a row to begin at.
    void enter();

    /// Scrolls to the current row, if it is selected, else to the first selected one.
    void scrollToSelection();

    RowRange rowsInSight() const;

    RowsFeed& feed() { return m_feed; }

    /// As the list's own, but without laying all rows out anew: their size never changes.
    void dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                     const QList<int>& roles) override;

Q_SIGNALS:
    /// On the button of the row, which has become the current and only selected one.
    void informationClicked();
    /// Links or bundles were dropped.
    void dropped(const tarvo::Pasteboard& pasteboard);

protected:
    void rowsAboutToBeRemoved(const QModelIndex& parent, int first, int last) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void startDrag(Qt::DropActions supported) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void keepSelectionOverResets();
    void rememberSelection();
    void selectRemembered();
    bool isOwn(const QDropEvent& event) const;
    int dropRowAt(const QPoint& position) const;
    void showDropRow(int row);

    RemoteFilesArrayController& m_queue;
    RowsModel& m_rows;
    RowDelegate* m_delegate;
    RowsFeed m_feed;
    std::vector<std::weak_ptr<RemoteFile>> m_chosen; // selected last, also those that a filter hides
    std::weak_ptr<RemoteFile> m_chosenCurrent;       // likewise
    bool m_isResetting = false;
    bool m_hasChosenAnew = false; // since the model's last reset
    std::vector<Job> m_dragged;   // while a drag of rows lasts
    int m_dropRow = -1;           // what is dropped comes in front of it; -1: no mark is shown
};

} // namespace tarvo
