#include "ui/SegmentBar.h"

#include <array>

#include <QAccessible>
#include <QHBoxLayout>
#include <QHelpEvent>
#include <QLabel>
#include <QPainter>
#include <QStyleOption>
#include <QToolTip>

#include "base/Readable.h"
#include "ui/SegmentPainting.h"
#include "ui/Text.h"

namespace tarvo {

namespace {

constexpr int kBarHeight = 26;
constexpr int kRoomForMarks = 6; // above the bar

/// One pattern of the legend.
class Swatch final : public QWidget {
public:
    Swatch(SegmentKind kind, QWidget* parent) : QWidget(parent), m_kind(kind) { setFixedSize(22, 14); }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        paintSegment(painter, rect(), {0, width(), m_kind, 1}, palette());
        painter.setPen(palette().color(QPalette::Mid));
        painter.drawRect(rect().adjusted(0, 0, -1, -1));
    }

private:
    const SegmentKind m_kind;
};

} // namespace

SegmentBar::SegmentBar(QWidget* parent) : QWidget(parent) {
    setFocusPolicy(Qt::TabFocus); // so that a screen reader comes by
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName(text("tr.info.segments"));
}

QSize SegmentBar::sizeHint() const {
    return {300, kBarHeight + kRoomForMarks};
}

QRect SegmentBar::barRect() const {
    return rect().adjusted(1, kRoomForMarks, -1, -1);
}

void SegmentBar::setSegments(const SegmentsSnapshot& segments, double percent) {
    m_segments = segments;
    m_segments.connections = inOrder(std::move(m_segments.connections));
    setAccessibleDescription(QString::fromStdString(spokenSegments(segments, percent)));
    update();
}

void SegmentBar::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QRect bar = barRect();
    painter.fillRect(bar, palette().color(QPalette::Base));
    const SegmentDrawing drawing = drawingOf(m_segments, bar.width());
    for (const auto& piece : drawing.pieces) {
        const QRect place(bar.left() + piece.from, bar.top(), piece.to - piece.from, bar.height());
        paintSegment(painter, place, piece, palette());
        const QString number = QString::number(piece.connection);
        if (piece.connection < 1 || fontMetrics().horizontalAdvance(number) + 10 > place.width())
            continue;
        QRect plate = fontMetrics().boundingRect(number).adjusted(-4, -1, 4, 1);
        plate.moveCenter(place.center());
        painter.fillRect(plate, palette().color(QPalette::Base));
        painter.setPen(palette().color(QPalette::Text));
        painter.drawText(plate, Qt::AlignCenter, number);
    }
    for (const auto& head : drawing.heads)
        paintHead(painter, bar.left() + head.at, bar, palette());
    const bool isFocused = hasFocus();
    painter.setPen(palette().color(isFocused ? QPalette::Text : QPalette::Mid));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(bar.adjusted(-1, -1, 0, 0));
}

QString SegmentBar::toolTipAt(const QPoint& place) const {
    const QRect bar = barRect();
    const SegmentDrawing drawing = drawingOf(m_segments, bar.width());
    const int x = place.x() - bar.left();
    for (const auto& piece : drawing.pieces) {
        if (x < piece.from || x >= piece.to || piece.connection < 1)
            continue;
        const auto& connection = m_segments.connections[static_cast<std::size_t>(piece.connection - 1)];
        return text("tr.info.connection-tip",
                    {std::to_string(piece.connection), readableSize(connection.current - connection.from)});
    }
    return accessibleDescription();
}

bool SegmentBar::event(QEvent* event) {
    if (event->type() == QEvent::ToolTip) {
        const auto* help = static_cast<QHelpEvent*>(event);
        QToolTip::showText(help->globalPos(), toolTipAt(help->pos()), this);
        return true;
    }
    return QWidget::event(event);
}

SegmentLegend::SegmentLegend(QWidget* parent) : QWidget(parent) {
    constexpr std::array<std::pair<SegmentKind, std::string_view>, 4> kinds{
        {{SegmentKind::done, "tr.info.legend-done"},
         {SegmentKind::fetching, "tr.info.legend-fetching"},
         {SegmentKind::partly, "tr.info.legend-partly"},
         {SegmentKind::missing, "tr.info.legend-missing"}}};
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    for (const auto& [kind, key] : kinds) {
        row->addWidget(new Swatch(kind, this));
        row->addWidget(new QLabel(text(key), this));
        row->addSpacing(6);
    }
    row->addStretch();
}

} // namespace tarvo
