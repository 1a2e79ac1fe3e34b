// The pieces of a row that are drawn: the bar, and the sign on the icon that tells its state.
#pragma once

#include <QPainter>
#include <QPalette>
#include <QRect>

#include "rows/RowsModel.h"

namespace tarvo {

/// The colours of a row, all of one group of the palette.
struct RowColors {
    QColor text;
    QColor faint;  ///< of the second line
    QColor base;   ///< what stands behind the text
    QColor filled; ///< of a bar that moves

    static RowColors of(const QPalette& palette, QPalette::ColorGroup group, bool isSelected);
};

/// One that has no length is hatched; one that stands still is in the colour of the text. Nothing moves by
/// itself.
void paintBar(QPainter& painter, const QRect& rect, const RowLook& look, const RowColors& colors,
              Qt::LayoutDirection direction);

/// Finished: a tick; paused: two beams; failed: an exclamation mark; stopped: a square. Others have none.
void paintStateSign(QPainter& painter, const QRect& icon, int state, const RowColors& colors,
                    Qt::LayoutDirection direction);

} // namespace tarvo
