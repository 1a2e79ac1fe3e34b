#include "ui/SpeedCurve.h"

#include <QPainter>
#include <QPolygonF>

#include "base/Readable.h"
#include "ui/Text.h"

namespace tarvo {

SpeedCurve::SpeedCurve(QWidget* parent) : QWidget(parent) {
    setFocusPolicy(Qt::TabFocus); // so that a screen reader comes by
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName(text("tr.info.speed-curve"));
}

void SpeedCurve::begin(TimePoint now, const std::vector<std::int64_t>& known) {
    m_samples.begin(now, known);
    m_now = now;
    describe();
}

void SpeedCurve::add(TimePoint now, std::int64_t bytesPerSecond) {
    m_samples.add(now, bytesPerSecond);
    m_now = now;
    describe();
}

void SpeedCurve::describe() {
    const QString words =
        text("tr.info.speed-spoken", {readableSpeed(m_samples.latest()), readableSpeed(m_samples.highest())});
    setAccessibleDescription(words);
    setToolTip(words);
    update();
}

void SpeedCurve::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QRectF frame = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    painter.fillRect(frame, palette().color(QPalette::Base));
    const double top = fontMetrics().height() + 2;
    QPolygonF curve;
    for (const auto& point : m_samples.points(m_now))
        curve << QPointF(frame.left() + point.x * frame.width(),
                         frame.bottom() - point.y * (frame.height() - top));
    if (!curve.isEmpty()) {
        painter.setRenderHint(QPainter::Antialiasing);
        QPolygonF area = curve;
        area << QPointF(curve.last().x(), frame.bottom()) << QPointF(curve.first().x(), frame.bottom());
        QColor filling = palette().color(QPalette::Highlight);
        painter.setPen(QPen(filling, 1.5));
        filling.setAlphaF(0.25F);
        painter.setBrush(Qt::NoBrush);
        painter.drawPolyline(curve);
        painter.setPen(Qt::NoPen);
        painter.setBrush(filling);
        painter.drawPolygon(area);
        painter.setPen(palette().color(QPalette::Text));
        painter.drawText(frame.adjusted(4, 1, -4, 0), Qt::AlignTop | Qt::AlignLeft,
                         text("tr.info.speed-highest", {readableSpeed(m_samples.highest())}));
    }
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.setPen(palette().color(hasFocus() ? QPalette::Text : QPalette::Mid));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

} // namespace tarvo
