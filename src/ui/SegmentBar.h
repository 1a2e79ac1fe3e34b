// The drawing of a file's segments, with its legend.
#pragma once

#include <QWidget>

#include "rows/SegmentDrawing.h"

namespace tarvo {

/// Main thread. What it shows is also its accessible description, in words.
class SegmentBar final : public QWidget {
    Q_OBJECT

public:
    explicit SegmentBar(QWidget* parent = nullptr);

    /// `percent` below 0: not known.
    void setSegments(const SegmentsSnapshot& segments, double percent);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;

private:
    QRect barRect() const;
    QString toolTipAt(const QPoint& place) const;

    SegmentsSnapshot m_segments;
};

/// What the patterns of the bar mean.
class SegmentLegend final : public QWidget {
    Q_OBJECT

public:
    explicit SegmentLegend(QWidget* parent = nullptr);
};

} // namespace tarvo
