// Where the parts of a row stand.
#pragma once

#include <QFontMetrics>
#include <QRect>
#include <QSize>

namespace tarvo {

/// In pixels of the view; mirrored where text runs from right to left.
struct RowGeometry {
    static constexpr int kIcon = 48;
    static constexpr int kButton = 22; ///< the icon of the information button

    QRect icon;
    QRect name;
    QRect bar;
    QRect status; ///< with the amount at its end
    QRect button; ///< where a click counts

    static RowGeometry of(const QRect& row, const QFontMetrics& font, Qt::LayoutDirection direction);

    /// The width is the least one.
    static QSize sizeFor(const QFontMetrics& font);
};

} // namespace tarvo
