// What stands in for a window on a machine without a screen.
#pragma once

#include <string>

#include "app/HeadlessDesk.h"
#include "app/UserInterface.h"

namespace tarvo {

/// Errors go to the log, to standard error and to the desktop's notices; a question gets its harmless answer,
/// a page and a password none. Main thread.
class Headless final : public UserInterface {
public:
    /// `notices` outlives the object; `homeFolder` is absolute.
    Headless(UserNotices& notices, std::string homeFolder);

    AlertPresenter& alerts() override { return m_desk; }

    ApplicationPresence& presence() override { return m_desk; }

    PageOpener& pages() override { return m_desk; }

    AutomaticTermination& automaticTermination() override { return m_desk; }

    AuthenticationPrompt* passwordPrompt() override { return nullptr; }

    bool isWindowVisible() const override { return false; }

    void didSetUpLogging(TRLoggingManager& logging) override;
    void registerDefaults(UserDefaults& defaults) override;
    std::unique_ptr<MainWindow> makeMainWindow(QueueController& queue, const JobEnvironment& jobs) override;

    void setActivationToken(const std::string&) override {}

    void showLog(const std::vector<std::string>&) override {}

    void emailSupport() override {}

private:
    HeadlessDesk m_desk;
    const std::string m_homeFolder;
};

} // namespace tarvo
