#include "tarvo/Application.h"

#include <utility>

#include <QCoreApplication>

#include "app/AddFailures.h"
#include "app/CrashReports.h"
#include "base/Log.h"
#include "base/Runloop.h"
#include "platform/FatalSignals.h"
#include "platform/HandOver.h"

namespace tarvo {

Application::Application(UserDefaults& defaults, Disk& disk, const MakeUserInterface& makeUserInterface,
                         CommandLine line, std::string homeFolder)
    : m_defaults(defaults), m_disk(disk), m_line(std::move(line)), m_homeFolder(std::move(homeFolder)),
      m_interface(makeUserInterface(m_notices, m_sessionBus, m_cookies)) {
}

void Application::start() {
    Runloop::assertMain();
    m_delegate.applicationWillFinishLaunching();
    m_interface->registerDefaults(m_defaults);
    if (m_isQuitting) // while there was a question to answer
        return;
    if (const auto remote = m_remoteLog.sharedLogger())
        Log::attach(remote);
    m_delegate.open(m_line.open); // waits for the main window
    m_delegate.applicationDidFinishLaunching();
    m_queueService->start(); // before the name, which programs wait for
    m_service.start();
}

void Application::answer(const QJsonObject& request, const InstanceSocket::Answer& answer) {
    Runloop::assertMain();
    const auto open = HandOver::textsOf(request);
    if (!open)
        return answer({{"error", "this is no request"}});
    m_interface->setActivationToken(HandOver::activationTokenOf(request));
    if (open->empty())
        m_delegate.reopen();
    m_delegate.open(
        *open, [answer](const std::vector<AddOutcome>& outcomes) { answer(HandOver::answer(outcomes)); });
}

void Application::quit() {
    Runloop::assertMain();
    m_isQuitting = true;
    m_interface->alerts().cancelAlerts();
    if (m_queue)
        return m_queue->quit();
    m_delegate.refuseAdds();
    QCoreApplication::exit();
}

/// The caller has no use for the outcomes: the user is told of them.
void Application::open(const std::vector<std::string>& uris, const std::function<void()>& answered) {
    m_delegate.open(uris, [this, answered](const std::vector<AddOutcome>& outcomes) {
        presentFailures(outcomes, m_interface->alerts());
        answered();
    });
}

void Application::reopen(const std::string& activationToken) {
    m_interface->setActivationToken(activationToken);
    m_delegate.reopen();
}

void Application::setUpLogging() {
    m_logging.setupLogging();
    m_interface->didSetUpLogging(m_logging);
}

std::unique_ptr<MainWindow> Application::makeMainWindow() {
    m_cookies.load(); // before the queue's transfers
    m_queue = std::make_unique<QueueController>(QueueController::Environment{.jobs = m_jobs,
                                                                             .notifications = m_notifications,
                                                                             .authManager = m_credentials,
                                                                             .pages = m_interface->pages(),
                                                                             .alerts = m_interface->alerts(),
                                                                             .session = &m_defaults,
                                                                             .desktop = &m_desktop});
    QObject::connect(m_queue.get(), &QueueController::ended, [] { QCoreApplication::exit(); });
    m_queueService = std::make_unique<QueueService>(m_sessionBus, *m_queue, m_jobs, m_homeFolder,
                                                    [this](const std::function<void()>& done) {
                                                        m_savingQueue.async([this, done] {
                                                            m_defaults.flush(); // which reads, too
                                                            Runloop::runOnMainLater(done);
                                                        });
                                                    });
    m_checksums = std::make_unique<ChecksumWatch>(m_queue->remoteFiles(), m_interface->alerts());
    return m_interface->makeMainWindow(*m_queue, m_jobs);
}

void Application::startCrashReporting() {
    reportFatalSignals("/proc/self/exe", {kCrashReporter});
    CrashReports(m_disk, CrashReports::standardFolder()).tellNews(m_notices);
}

Tarvo2AppDelegate::Environment Application::environment() {
    return {.arguments = m_line.all,
            .defaults = m_defaults,
            .notifications = m_notifications,
            .clock = m_clock,
            .alerts = m_interface->alerts(),
            .presence = m_interface->presence(),
            .setUpLogging = [this] { setUpLogging(); },
            .emailSupport = [this] { m_interface->emailSupport(); },
            .startCrashReporting = [this] { startCrashReporting(); },
            .makeMainWindow = [this] { return makeMainWindow(); }};
}

ApplicationRequests Application::requests() {
    return {[this](const std::string& token) { reopen(token); },
            [this](const std::vector<std::string>& uris, const std::string& token,
                   const std::function<void()>& answered) {
                m_interface->setActivationToken(token);
                open(uris, answered);
            },
            [this](const std::string& action, const std::string& token) {
                if (action == "toggle-autorun")
                    m_delegate.toggleAutorun();
                else
                    reopen(token);
            }};
}

} // namespace tarvo
