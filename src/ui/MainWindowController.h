// Takes what the program is handed to download, and shows the main window.
#pragma once

#include <string>
#include <vector>

#include <QPointer>

#include "app/WindowlessMain.h"
#include "ui/AddSheet.h"
#include "ui/PreferencesWindow.h"
#include "ui/QueueWindow.h"
#include "ui/WindowState.h"

namespace tarvo {

/// Main thread.
class MainWindowController final : public MainWindow {
public:
    explicit MainWindowController(const WindowEnvironment& environment);
    ~MainWindowController() override;

    std::vector<AddOutcome> addDownloadFromString(const std::string& text) override;
    AddOutcome addDownloadFromBundleFile(const std::string& bundle) override;
    bool acceptDrop(const Pasteboard& pasteboard) override;

    void whenKept(std::function<void(bool kept)> done) override;

    void toggleAutorun() override { m_direct.toggleAutorun(); }

    void bringToFront() override;

    QueueWindow& window() { return m_window; }

    /// Opens the add sheet with these links, one a line, or puts them into the one that is open.
    void openAddSheet(std::string links = {});

    /// Null while none is open.
    AddSheet* addSheet() { return m_sheet; }

private:
    void acceptOrSay(const Pasteboard& pasteboard);
    void openPreferences();
    void closeSheet();
    void storeDraft(const std::string& links);
    void writeSettings();

    const WindowEnvironment m_environment;
    FolderLook m_folders;
    SerialQueue m_settingsWriting{"com.unregistered.tarvo2.settingsWritingQueue"};
    WindowlessMain m_direct; // adds without a question
    QueueWindow m_window;
    std::string m_olderDraft;  // which the open sheet does not show
    bool m_isDraftNew = false; // and not on the disk yet
    QPointer<AddSheet> m_sheet;
    QPointer<PreferencesWindow> m_preferences;
    WindowState m_state{m_window, m_window.actions(), WindowState::standardFile()};
};

} // namespace tarvo
