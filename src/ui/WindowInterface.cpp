#include "ui/WindowInterface.h"

#include <utility>

#include <QDesktopServices>
#include <QGuiApplication>

#include "app/RollingFileSink.h"
#include "base/Runloop.h"
#include "rows/SupportMail.h"
#include "ui/SessionEnd.h"
#include "ui/WindowClosing.h"

namespace tarvo {

namespace {

constexpr std::size_t kLongestToken = 1024;

} // namespace

WindowInterface::WindowInterface(UserNotices& notices, DesktopBus& sessionBus, UserDefaults& defaults,
                                 CookieKeeper& cookies, std::string homeFolder)
    : m_notices(notices), m_desk(notices), m_defaults(defaults), m_homeFolder(std::move(homeFolder)),
      m_browser(cookies, defaults, m_alerts, m_homeFolder), m_presence(sessionBus), m_colours(sessionBus) {
}

std::unique_ptr<MainWindow> WindowInterface::makeMainWindow(QueueController& queue,
                                                            const JobEnvironment& jobs) {
    Runloop::assertMain();
    const WindowEnvironment environment{queue, jobs, m_defaults, m_alerts, m_homeFolder};
    auto main = std::make_unique<MainWindowController>(environment);
    m_window = &main->window();
    m_alerts.setWindow(m_window);
    auto* closing =
        new WindowClosing(*m_window, environment, m_notices, [this] { return m_presence.isInTray(); });
    new SessionEnd(queue, m_window);
    m_credentials.setWindow(m_window);
    m_colours.start();
    m_presence.attach(*m_window, queue);
    const auto bringBack = [this, window = main.get()](const std::string& activationToken) {
        setActivationToken(activationToken);
        window->bringToFront();
    };
    QObject::connect(&m_presence, &Presence::windowWanted, m_window, [bringBack] { bringBack({}); });
    QObject::connect(closing, &WindowClosing::windowWanted, m_window, bringBack);
    QObject::connect(&m_desk, &HeadlessDesk::nobodyNeedsTheProgram, &queue, &QueueController::quit);
    connectLog(*m_window);
    m_browser.attach(queue, jobs);
    QObject::connect(m_window->actions().browser, &QAction::triggered, &m_browser,
                     [this] { m_browser.openWindow(); });
    return main;
}

void WindowInterface::connectLog(QueueWindow& window) {
    QAction* log = window.actions().log;
    log->setVisible(m_log != nullptr);
    if (m_log)
        QObject::connect(log, &QAction::triggered, m_log.get(), [this] {
            m_log->show();
            m_log->raise();
            m_log->activateWindow();
        });
}

FileActions WindowInterface::fileActions() {
    return {.open = [this](const std::vector<std::string>& files) { m_opener.open(files); },
            .showInFolder = [this](const std::vector<std::string>& files) { m_opener.showInFolder(files); }};
}

/// Qt has no public call for it, but looks into the environment when a window is activated. Under X11 the
/// window manager decides without it.
void WindowInterface::setActivationToken(const std::string& token) {
    Runloop::assertMain();
    const bool isUsable = !token.empty() && token.size() <= kLongestToken;
    if (isUsable && QGuiApplication::platformName().startsWith(QLatin1String("wayland")))
        qputenv("XDG_ACTIVATION_TOKEN", QByteArray::fromStdString(token));
}

void WindowInterface::showLog(const std::vector<std::string>&) {
    const std::string folder = TRLoggingManager::standardLogFolder();
    m_log = std::make_unique<LogWindow>(m_defaults, folder,
                                        [folder] { return RollingFileSink::logFilesIn(folder); });
    m_log->show();
}

void WindowInterface::emailSupport() {
    if (!QDesktopServices::openUrl(mailToSupport()))
        Log::error("The makers can't be written to: there is no program for e-mail");
}

} // namespace tarvo
