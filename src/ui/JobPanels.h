// The panels that tell of the current row's download: information, checksums and preview.
#pragma once

#include <QAbstractItemView>
#include <QMainWindow>

#include "base/Clock.h"
#include "ui/Actions.h"
#include "ui/CurrentJob.h"
#include "ui/InfoPopover.h"
#include "ui/PreviewPanel.h"

namespace tarvo {

/// Main thread. Connects the actions that open them.
class JobPanels final : public QObject {
    Q_OBJECT

public:
    /// All outlive it but the window, whose child it is; the view shows `rows` in `window`.
    JobPanels(RemoteFilesArrayController& queue, const RowsModel& rows, QAbstractItemView& view,
              const Actions& actions, const Clock& clock, QMainWindow& window);

private:
    CurrentJob m_current;
    InfoPopover* m_information; // a child of the window
    PreviewPanel* m_preview;    // likewise
};

} // namespace tarvo
