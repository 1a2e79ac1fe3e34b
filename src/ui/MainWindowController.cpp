#include "ui/MainWindowController.h"

#include "ui/PasteboardData.h"

namespace tarvo {

MainWindowController::MainWindowController(const WindowEnvironment& environment)
    : m_direct(environment.queue, environment.jobs, environment.homeFolder, environment.alerts),
      m_window(environment) {
    QObject::connect(&m_window, &QueueWindow::dropped, &m_window,
                     [this](const Pasteboard& pasteboard) { acceptDrop(pasteboard); });
    QObject::connect(m_window.actions().addFromClipboard, &QAction::triggered, &m_window,
                     [this] { acceptDrop(clipboardContent()); });
}

std::vector<AddOutcome> MainWindowController::addDownloadFromString(const std::string& text) {
    return m_direct.addDownloadFromString(text);
}

AddOutcome MainWindowController::addDownloadFromBundleFile(const std::string& bundle) {
    return m_direct.addDownloadFromBundleFile(bundle);
}

bool MainWindowController::acceptDrop(const Pasteboard& pasteboard) {
    return m_direct.acceptDrop(pasteboard);
}

void MainWindowController::bringToFront() {
    m_window.show();
    m_window.raise();
    m_window.activateWindow();
}

} // namespace tarvo
