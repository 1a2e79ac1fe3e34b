// How each kind of segment looks: told apart by a pattern, and not by its colour alone.
#pragma once

#include <QPainter>
#include <QPalette>
#include <QRect>

#include "rows/SegmentDrawing.h"

namespace tarvo {

/// Fills `rect`. Connections side by side have lines that lean to different sides.
void paintSegment(QPainter& painter, const QRect& rect, const SegmentPiece& piece, const QPalette& palette);

/// The place that a connection has come to, as a line with a mark at its upper end.
void paintHead(QPainter& painter, int x, const QRect& bar, const QPalette& palette);

} // namespace tarvo
