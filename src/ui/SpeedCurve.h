// The speed of the last minute, drawn as a curve.
#pragma once

#include <QWidget>

#include "rows/SpeedSamples.h"

namespace tarvo {

/// Main thread.
class SpeedCurve final : public QWidget {
    Q_OBJECT

public:
    explicit SpeedCurve(QWidget* parent = nullptr);

    /// See SpeedSamples::begin().
    void begin(TimePoint now, const std::vector<std::int64_t>& known);

    void add(TimePoint now, std::int64_t bytesPerSecond);

    QSize sizeHint() const override { return {300, 48}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void describe();

    SpeedSamples m_samples;
    TimePoint m_now{};
};

} // namespace tarvo
