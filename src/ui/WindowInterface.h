// What the user sees and answers on a desktop: the main window and all that belongs to it.
#pragma once

#include <string>

#include "app/HeadlessDesk.h"
#include "app/UserInterface.h"
#include "pages/BuiltInBrowser.h"
#include "ui/AlertDialogs.h"
#include "ui/ColourScheme.h"
#include "ui/CredentialsDialog.h"
#include "ui/FileOpener.h"
#include "ui/LogWindow.h"
#include "ui/MainWindowController.h"
#include "ui/Presence.h"

namespace tarvo {

/// Main thread.
class WindowInterface final : public UserInterface {
public:
    /// What is referred to outlives the object; `homeFolder` is absolute.
    WindowInterface(UserNotices& notices, DesktopBus& sessionBus, UserDefaults& defaults,
                    CookieKeeper& cookies, std::string homeFolder);

    AlertPresenter& alerts() override { return m_alerts; }

    ApplicationPresence& presence() override { return m_presence; }

    PageOpener& pages() override { return m_browser; }

    AutomaticTermination& automaticTermination() override { return m_desk; }

    AuthenticationPrompt* passwordPrompt() override { return &m_credentials; }

    bool isWindowVisible() const override { return m_window && m_window->isVisible(); }

    void didSetUpLogging(TRLoggingManager&) override {}

    void registerDefaults(UserDefaults&) override {}

    std::unique_ptr<MainWindow> makeMainWindow(QueueController& queue, const JobEnvironment& jobs) override;

    FileActions fileActions() override;

    void setActivationToken(const std::string& token) override;

    void showLog(const std::vector<std::string>& logFiles) override;
    void emailSupport() override;

private:
    void connectLog(QueueWindow& window);

    UserNotices& m_notices;
    HeadlessDesk m_desk;
    AlertDialogs m_alerts;
    FileOpener m_opener{m_alerts}; // for notices, which outlast the window
    UserDefaults& m_defaults;
    const std::string m_homeFolder;
    BuiltInBrowser m_browser;
    QPointer<QueueWindow> m_window;
    Presence m_presence;
    std::unique_ptr<LogWindow> m_log; // in debug mode
    ColourScheme m_colours;
    CredentialsPrompt m_credentials;
};

} // namespace tarvo
