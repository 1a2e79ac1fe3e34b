#include "ui/JobPanels.h"

#include "base/Runloop.h"

namespace tarvo {

JobPanels::JobPanels(RemoteFilesArrayController& queue, const RowsModel& rows, QAbstractItemView& view,
                     const Actions& actions, const Clock& clock, QMainWindow& window)
    : QObject(&window), m_current(queue, rows, *view.selectionModel(), this),
      m_information(new InfoPopover(m_current, view, clock, window.centralWidget())),
      m_preview(new PreviewPanel(m_current, &window)) {
    Runloop::assertMain();
    connect(actions.information, &QAction::triggered, m_information, &InfoPopover::toggle);
    connect(actions.checksums, &QAction::triggered, m_information, &InfoPopover::showChecksums);
    window.addDockWidget(Qt::RightDockWidgetArea, m_preview);
    m_preview->hide();
    connect(actions.preview, &QAction::toggled, m_preview, &QDockWidget::setVisible);
    // Closed by its own button; a minimised window hides it, too, and does not close it.
    connect(m_preview, &QDockWidget::visibilityChanged, actions.preview,
            [this, action = actions.preview] { action->setChecked(!m_preview->isHidden()); });
}

} // namespace tarvo
