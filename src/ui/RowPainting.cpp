#include "ui/RowPainting.h"

#include <cmath>

#include <QPainterPath>
#include <QStyle>

namespace tarvo {

namespace {

QColor mixed(const QColor& color, const QColor& behind, float share) {
    const auto mix = [share](float one, float other) { return one * share + other * (1 - share); };
    return QColor::fromRgbF(mix(color.redF(), behind.redF()), mix(color.greenF(), behind.greenF()),
                            mix(color.blueF(), behind.blueF()));
}

/// In a square of 16 units.
QPainterPath signOf(int state) {
    QPainterPath path;
    switch (state) {
    case rf_state_succeeded:
        path.moveTo(4, 8.5);
        path.lineTo(7, 11.5);
        path.lineTo(12, 5);
        break;
    case rf_state_paused:
        path.moveTo(6, 5);
        path.lineTo(6, 11);
        path.moveTo(10, 5);
        path.lineTo(10, 11);
        break;
    case rf_state_failed:
        path.moveTo(8, 3.5);
        path.lineTo(8, 9);
        path.moveTo(8, 12);
        path.lineTo(8, 12.4);
        break;
    case rf_state_stopped:
        path.addRect(5.5, 5.5, 5, 5);
        break;
    default:
        break;
    }
    return path;
}

} // namespace

RowColors RowColors::of(const QPalette& palette, QPalette::ColorGroup group, bool isSelected) {
    const auto color = [&](QPalette::ColorRole role) { return palette.color(group, role); };
    const QColor text = color(isSelected ? QPalette::HighlightedText : QPalette::Text);
    const QColor base = color(isSelected ? QPalette::Highlight : QPalette::Base);
    return {text, mixed(text, base, 0.8F), base, isSelected ? text : color(QPalette::Highlight)};
}

void paintBar(QPainter& painter, const QRect& rect, const RowLook& look, const RowColors& colors,
              Qt::LayoutDirection direction) {
    painter.fillRect(rect, mixed(colors.text, colors.base, 0.18F));
    if (look.isIndeterminate) {
        painter.setBrushOrigin(rect.topLeft());
        painter.fillRect(rect, QBrush(mixed(colors.text, colors.base, 0.5F), Qt::BDiagPattern));
        return;
    }
    const double part = look.state == rf_state_succeeded ? 1 : look.percent / 100;
    const int length = static_cast<int>(std::lround(rect.width() * part));
    const QRect filled(rect.left(), rect.top(), length, rect.height());
    const QColor color = look.isMoving ? colors.filled : mixed(colors.text, colors.base, 0.55F);
    painter.fillRect(QStyle::visualRect(direction, rect, filled), color);
}

void paintStateSign(QPainter& painter, const QRect& icon, int state, const RowColors& colors,
                    Qt::LayoutDirection direction) {
    const QPainterPath sign = signOf(state);
    if (sign.isEmpty())
        return;
    constexpr int side = 20;
    const QRect corner(icon.right() + 1 - side, icon.bottom() + 1 - side, side, side);
    const QRectF place = QStyle::visualRect(direction, icon, corner);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(place.topLeft());
    painter.scale(side / 16.0, side / 16.0);
    painter.setPen(QPen(colors.text, 1));
    painter.setBrush(colors.base);
    painter.drawEllipse(QRectF(0.5, 0.5, 15, 15));
    painter.setPen(QPen(colors.text, 2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(sign);
    painter.restore();
}

} // namespace tarvo
