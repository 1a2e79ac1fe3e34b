// The filters of the list as buttons, each with the number of downloads that it shows.
#pragma once

#include <QTimer>
#include <QToolButton>
#include <QWidget>

#include "queue/RemoteFilesArrayController.h"
#include "ui/Actions.h"

namespace tarvo {

/// Main thread. Shows which of Actions::filters is chosen, and chooses by it.
class FilterBar final : public QWidget {
    Q_OBJECT

public:
    /// Both outlive the bar.
    FilterBar(const RemoteFilesArrayController& queue, const Actions& actions, QWidget* parent);

protected:
    void showEvent(QShowEvent* event) override;

private:
    void add(QAction& filter);
    void count();

    const RemoteFilesArrayController& m_queue;
    std::vector<QToolButton*> m_buttons; // of JobFilter::all()
    QTimer m_nextCount;                  // once for many changes
};

} // namespace tarvo
