#include "ui/SegmentPainting.h"

namespace tarvo {

namespace {

constexpr int kBetweenLines = 6;

void paintLines(QPainter& painter, const QRect& rect, bool leansRight) {
    // From a grid of the whole bar, so that lines do not move when a piece begins elsewhere.
    const int height = rect.height();
    const int first = (rect.left() - height) / kBetweenLines * kBetweenLines - kBetweenLines;
    for (int x = first; x <= rect.right() + height; x += kBetweenLines) {
        const QPointF low(x, rect.bottom() + 1);
        const QPointF high(x + (leansRight ? height : -height), rect.top());
        painter.drawLine(low, high);
    }
}

void paintDots(QPainter& painter, const QRect& rect, const QColor& color) {
    constexpr int apart = 4;
    for (int y = rect.top() + 1; y <= rect.bottom(); y += apart)
        for (int x = (rect.left() + apart) / apart * apart; x <= rect.right(); x += apart)
            painter.fillRect(QRectF(x, y, 1.5, 1.5), color);
}

} // namespace

void paintSegment(QPainter& painter, const QRect& rect, const SegmentPiece& piece, const QPalette& palette) {
    const QColor color = palette.color(QPalette::Highlight);
    painter.save();
    painter.setClipRect(rect, Qt::IntersectClip);
    painter.fillRect(rect, piece.kind == SegmentKind::done ? color : palette.color(QPalette::Base));
    if (piece.kind == SegmentKind::fetching) {
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(color, 2));
        paintLines(painter, rect, piece.connection % 2 == 1);
    } else if (piece.kind == SegmentKind::partly) {
        paintDots(painter, rect, color);
    }
    painter.restore();
}

void paintHead(QPainter& painter, int x, const QRect& bar, const QPalette& palette) {
    constexpr int half = 4;
    const QColor color = palette.color(QPalette::Text);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(QRectF(x - 1, bar.top(), 2, bar.height()), color);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawPolygon(QPolygonF({QPointF(x - half, bar.top() - half), QPointF(x + half, bar.top() - half),
                                   QPointF(x, bar.top() + 1)}));
    painter.restore();
}

} // namespace tarvo
