// Draws a row of the list, and hears clicks on its information button.
#pragma once

#include <QIcon>
#include <QStyledItemDelegate>

#include "rows/RowsModel.h"
#include "ui/FileIcons.h"
#include "ui/RowGeometry.h"

namespace tarvo {

/// Main thread. For a list all of whose rows have the same height.
class RowDelegate final : public QStyledItemDelegate {
    Q_OBJECT

public:
    /// `rows`, which outlives the delegate, is the model of what it draws.
    RowDelegate(const RowsModel& rows, QObject* parent);

    FileIcons& icons() { return m_icons; }

    /// The desktop's theme is another.
    void loadIcons();

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

    /// The whole status, of which the row may show only the beginning.
    bool helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                   const QModelIndex& index) override;

Q_SIGNALS:
    void informationClicked(const QModelIndex& index);

protected:
    bool editorEvent(QEvent* event, QAbstractItemModel* model, const QStyleOptionViewItem& option,
                     const QModelIndex& index) override;

private:
    void paintBackground(QPainter& painter, const QStyleOptionViewItem& option) const;
    void paintTexts(QPainter& painter, const QStyleOptionViewItem& option, const RowLook& look,
                    const RowGeometry& geometry) const;

    const RowsModel& m_rows;
    FileIcons m_icons;
    QIcon m_information; // of a download over several connections
    QIcon m_caution;     // of one that can have only one
};

} // namespace tarvo
