#include "ui/MainWindowController.h"

#include <utility>

namespace tarvo {

MainWindowController::MainWindowController(QueueController& queue, const JobEnvironment& jobs,
                                           std::string homeFolder, AlertPresenter& alerts)
    : m_direct(queue, jobs, std::move(homeFolder), alerts), m_window(queue, jobs) {
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
