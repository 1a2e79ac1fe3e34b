#include "ui/WindowInterface.h"

#include <utility>

#include "base/Runloop.h"

namespace tarvo {

WindowInterface::WindowInterface(UserNotices& notices, UserDefaults& defaults, std::string homeFolder)
    : m_desk(notices), m_defaults(defaults), m_homeFolder(std::move(homeFolder)) {
}

std::unique_ptr<MainWindow> WindowInterface::makeMainWindow(QueueController& queue,
                                                            const JobEnvironment& jobs) {
    Runloop::assertMain();
    return std::make_unique<MainWindowController>(
        WindowEnvironment{queue, jobs, m_defaults, m_alerts, m_homeFolder});
}

} // namespace tarvo
