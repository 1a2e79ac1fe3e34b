// What the user sees and answers on a desktop: the main window and all that belongs to it.
#pragma once

#include <string>

#include "app/HeadlessDesk.h"
#include "app/UserInterface.h"
#include "ui/AlertDialogs.h"
#include "ui/MainWindowController.h"

namespace tarvo {

/// Main thread.
class WindowInterface final : public UserInterface {
public:
    /// What is referred to outlives the object; `homeFolder` is absolute.
    WindowInterface(UserNotices& notices, UserDefaults& defaults, std::string homeFolder);

    AlertPresenter& alerts() override { return m_alerts; }

    ApplicationPresence& presence() override { return m_desk; }

    PageOpener& pages() override { return m_desk; }

    AutomaticTermination& automaticTermination() override { return m_desk; }

    AuthenticationPrompt* passwordPrompt() override { return nullptr; }

    bool isWindowVisible() const override { return m_isVisible; }

    void didSetUpLogging(TRLoggingManager&) override {}

    void registerDefaults(UserDefaults&) override {}

    std::unique_ptr<MainWindow> makeMainWindow(QueueController& queue, const JobEnvironment& jobs) override;

    void showLog(const std::vector<std::string>&) override {}

    void emailSupport() override {}

private:
    HeadlessDesk m_desk;
    AlertDialogs m_alerts;
    UserDefaults& m_defaults;
    const std::string m_homeFolder;
    bool m_isVisible = true;
};

} // namespace tarvo
