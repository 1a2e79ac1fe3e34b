// Takes what the program is handed to download, and shows the main window.
#pragma once

#include <string>
#include <vector>

#include "app/WindowlessMain.h"
#include "ui/QueueWindow.h"

namespace tarvo {

/// Main thread.
class MainWindowController final : public MainWindow {
public:
    explicit MainWindowController(const WindowEnvironment& environment);

    std::vector<AddOutcome> addDownloadFromString(const std::string& text) override;
    AddOutcome addDownloadFromBundleFile(const std::string& bundle) override;
    bool acceptDrop(const Pasteboard& pasteboard) override;

    void whenKept(std::function<void(bool kept)> done) override { m_direct.whenKept(std::move(done)); }

    void toggleAutorun() override { m_direct.toggleAutorun(); }

    void bringToFront() override;

    QueueWindow& window() { return m_window; }

private:
    WindowlessMain m_direct; // adds without a question
    QueueWindow m_window;
};

} // namespace tarvo
