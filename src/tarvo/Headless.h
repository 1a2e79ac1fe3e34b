// The application without a window: all its pieces, put together.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <QJsonObject>

#include "app/CloudLoggerProvider.h"
#include "app/HeadlessDesk.h"
#include "app/TRLoggingManager.h"
#include "app/Tarvo2AppDelegate.h"
#include "platform/ApplicationService.h"
#include "platform/DesktopNotices.h"
#include "platform/InstanceSocket.h"
#include "platform/Login1SleepInhibitor.h"
#include "platform/SecretServicePasswordStore.h"
#include "platform/UnityLauncherBadge.h"
#include "queue/QueueController.h"
#include "tarvo/CommandLine.h"

namespace tarvo {

/// From the program's first object to its last. Main thread.
class Headless {
public:
    /// The name of the process that reports a crash of this one.
    static constexpr const char* kCrashReporter = "tarvo-crash-reporter";

    /// `defaults` and `disk` outlive the object.
    Headless(UserDefaults& defaults, Disk& disk, const std::string& home, CommandLine line);

    /// Brings it up, once the main loop runs.
    void start();

    /// Does what another program of this kind asks for.
    void answer(const QJsonObject& request, const InstanceSocket::Answer& answer);

    /// Saves and stops everything, then ends the main loop.
    void quit();

private:
    void setUpLogging();
    std::unique_ptr<MainWindow> makeMainWindow();
    void open(const std::vector<std::string>& uris, const std::function<void()>& answered);
    void startCrashReporting();
    ApplicationRequests requests();

    UserDefaults& m_defaults;
    const std::string m_home;
    Disk& m_disk;
    const SystemClock m_clock;
    TRLoggingManager m_logging{m_defaults, m_disk, TRLoggingManager::standardLogFolder()};
    CloudLoggerProvider m_remoteLog;
    const CookieStore m_cookies;
    const TransferEnvironment m_transfers{m_defaults, m_cookies, m_clock};
    SerialQueue m_savingQueue{"com.unregistered.tarvo2.remoteFileSavingQueue"};
    const JobEnvironment m_jobs{m_defaults, m_disk, m_clock, m_transfers, m_savingQueue};
    DesktopBus m_sessionBus{DesktopBus::sessionAddress()};
    DesktopBus m_systemBus{DesktopBus::systemAddress()};
    DesktopNotices m_notices{m_sessionBus};
    HeadlessDesk m_desk{m_notices};
    Login1SleepInhibitor m_sleep{m_systemBus};
    UnityLauncherBadge m_badge{m_sessionBus};
    const QueueController::Desktop m_desktop{m_sleep, m_desk, m_notices, m_badge, [] { return false; }};
    SecretServicePasswordStore m_passwords;
    AuthenticationManager m_credentials{m_passwords, nullptr, m_defaults, m_clock};
    NotificationCenter m_notifications;
    std::unique_ptr<QueueController> m_queue;
    Tarvo2AppDelegate m_delegate;
    const CommandLine m_line;
    bool m_isQuitting = false;
    ApplicationService m_service{m_sessionBus, requests()};
};

} // namespace tarvo
