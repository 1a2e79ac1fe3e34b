#include "ui/WindowInterface.h"

#include <utility>

#include "base/Runloop.h"

namespace tarvo {

WindowInterface::WindowInterface(UserNotices& notices, std::string homeFolder)
    : m_desk(notices), m_homeFolder(std::move(homeFolder)) {
}

std::unique_ptr<MainWindow> WindowInterface::makeMainWindow(QueueController& queue,
                                                            const JobEnvironment& jobs) {
    Runloop::assertMain();
    return std::make_unique<MainWindowController>(queue, jobs, m_homeFolder, m_alerts);
}

} // namespace tarvo
