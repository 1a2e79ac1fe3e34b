// The line below the list: the run state, counts, speed and time of the queue, and the room on the disk.
#pragma once

#include <QLabel>
#include <QStatusBar>

#include "ui/FreeSpace.h"
#include "ui/WindowEnvironment.h"

namespace tarvo {

/// Main thread. Looks once a second, and only while it is to be seen.
class StatusBar final : public QStatusBar {
    Q_OBJECT

public:
    /// `freeSpace` outlives it.
    StatusBar(const WindowEnvironment& environment, FreeSpace& freeSpace, QWidget* parent);

protected:
    void showEvent(QShowEvent* event) override;

private:
    void refresh();
    void tick();

    const WindowEnvironment m_environment;
    FreeSpace& m_freeSpace;
    QLabel* m_state;
    QLabel* m_counts;
    QLabel* m_speed;
    QLabel* m_timeLeft;
    QLabel* m_free;
    int m_ticks = 0;
};

} // namespace tarvo
