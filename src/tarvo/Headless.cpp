#include "tarvo/Headless.h"

#include <QCoreApplication>

#include "app/AddFailures.h"
#include "app/CrashReports.h"
#include "app/WindowlessMain.h"
#include "base/Log.h"
#include "base/SettingKeys.h"
#include "base/Settings.h"
#include "platform/FatalSignals.h"
#include "platform/HandOver.h"

namespace tarvo {

Headless::Headless(UserDefaults& defaults, Disk& disk, const std::string& home, CommandLine line)
    : m_defaults(defaults), m_home(home), m_disk(disk),
      m_delegate({.arguments = line.all,
                  .defaults = defaults,
                  .notifications = m_notifications,
                  .clock = m_clock,
                  .alerts = m_desk,
                  .presence = m_desk,
                  .setUpLogging = [this] { setUpLogging(); },
                  .emailSupport = [] {},
                  .startCrashReporting = [this] { startCrashReporting(); },
                  .makeMainWindow = [this] { return makeMainWindow(); }}),
      m_line(std::move(line)) {
}

void Headless::start() {
    m_delegate.applicationWillFinishLaunching();
    // Nobody looks at the list and clears it.
    m_defaults.registerDefaults({{std::string(SettingKey::kAutoClearCompleted), true}});
    if (m_isQuitting) // while there was a question to answer
        return;
    if (const auto remote = m_remoteLog.sharedLogger())
        Log::attach(remote);
    m_delegate.open(m_line.open); // waits for the window's stand-in
    m_delegate.applicationDidFinishLaunching();
    m_service.start();
}

void Headless::answer(const QJsonObject& request, const InstanceSocket::Answer& answer) {
    const auto open = HandOver::textsOf(request);
    if (!open)
        return answer({{"error", "this is no request"}});
    if (open->empty())
        m_delegate.reopen();
    m_delegate.open(
        *open, [answer](const std::vector<AddOutcome>& outcomes) { answer(HandOver::answer(outcomes)); });
}

void Headless::quit() {
    m_isQuitting = true;
    if (m_queue)
        return m_queue->quit();
    m_delegate.refuseAdds();
    QCoreApplication::exit();
}

/// The caller has no use for the outcomes: the person is told of them.
void Headless::open(const std::vector<std::string>& uris, const std::function<void()>& answered) {
    m_delegate.open(uris, [this, answered](const std::vector<AddOutcome>& outcomes) {
        presentFailures(outcomes, m_desk);
        answered();
    });
}

void Headless::setUpLogging() {
    m_logging.setupLogging();
    m_logging.copyToStandardError(); // without a window, this is where a person looks first
}

std::unique_ptr<MainWindow> Headless::makeMainWindow() {
    m_queue = std::make_unique<QueueController>(QueueController::Environment{.jobs = m_jobs,
                                                                             .notifications = m_notifications,
                                                                             .authManager = m_credentials,
                                                                             .pages = m_desk,
                                                                             .alerts = m_desk,
                                                                             .session = &m_defaults,
                                                                             .desktop = &m_desktop});
    QObject::connect(m_queue.get(), &QueueController::ended, [] { QCoreApplication::exit(); });
    QObject::connect(&m_desk, &HeadlessDesk::nobodyNeedsTheProgram, m_queue.get(), &QueueController::quit);
    QObject::connect(&m_queue->remoteFiles(), &RemoteFilesArrayController::jobStateChanged, m_queue.get(),
                     [this](const std::shared_ptr<RemoteFile>& job, rf_state_t, rf_state_t state) {
                         if (state == rf_state_failed && !job->isRetryable())
                             m_desk.presentError(*job->error());
                     });
    // Nobody is there to press a button: a restored queue goes on if additions would start it.
    if (m_queue->remoteFiles().content().size() > 0 && Settings(m_defaults).autoStartAfterAdd())
        m_queue->toggleAutorun();
    return std::make_unique<WindowlessMain>(*m_queue, m_jobs, m_home, m_desk);
}

void Headless::startCrashReporting() {
    reportFatalSignals("/proc/self/exe", {kCrashReporter});
    CrashReports(m_disk, CrashReports::standardFolder()).tellNews(m_notices);
}

ApplicationRequests Headless::requests() {
    return {[this] { m_delegate.reopen(); },
            [this](const std::vector<std::string>& uris, const std::function<void()>& answered) {
                open(uris, answered);
            },
            [this](const std::string& action) {
                if (action == "toggle-autorun")
                    m_delegate.toggleAutorun();
                else
                    m_delegate.reopen();
            }};
}

} // namespace tarvo
