// The application: all its pieces, put together around a window or what stands in for one.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <QJsonObject>

#include "app/CloudLoggerProvider.h"
#include "app/CookieKeeper.h"
#include "app/TRLoggingManager.h"
#include "app/Tarvo2AppDelegate.h"
#include "app/UserInterface.h"
#include "platform/ApplicationService.h"
#include "platform/DesktopNotices.h"
#include "platform/InstanceSocket.h"
#include "platform/Login1SleepInhibitor.h"
#include "platform/SecretServicePasswordStore.h"
#include "platform/UnityLauncherBadge.h"
#include "queue/ChecksumWatch.h"
#include "queue/QueueController.h"
#include "remote/QueueService.h"
#include "storage/LearnedLimitsKeeper.h"
#include "tarvo/CommandLine.h"

namespace tarvo {

/// From the program's first object to its last. Main thread.
class Application {
public:
    /// The name of the process that reports a crash of this one.
    static constexpr const char* kCrashReporter = "tarvo-crash-reporter";

    /// Makes what the user sees and answers. What it is given outlives it.
    using MakeUserInterface = std::function<std::unique_ptr<UserInterface>(
        UserNotices& notices, DesktopBus& sessionBus, CookieKeeper& cookies)>;

    /// `defaults` and `disk` outlive the object; `homeFolder` is absolute.
    Application(UserDefaults& defaults, Disk& disk, const MakeUserInterface& makeUserInterface,
                CommandLine line, std::string homeFolder);

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
    void reopen(const std::string& activationToken);
    void startCrashReporting();
    Tarvo2AppDelegate::Environment environment();
    ApplicationRequests requests();

    UserDefaults& m_defaults;
    Disk& m_disk;
    const CommandLine m_line;
    const std::string m_homeFolder;
    const SystemClock m_clock;
    TRLoggingManager m_logging{m_defaults, m_disk, TRLoggingManager::standardLogFolder(),
                               [this](const auto& logFiles) { m_interface->showLog(logFiles); }};
    CloudLoggerProvider m_remoteLog;
    CookieKeeper m_cookies{m_disk, m_clock, CookieKeeper::standardFile()};
    const TransferEnvironment m_transfers{m_defaults, m_cookies.store(), m_clock};
    const LearnedLimitsKeeper m_limits{m_transfers.hostConnections, LearnedLimitsKeeper::standardFile(),
                                       m_disk};
    SerialQueue m_savingQueue{"com.unregistered.tarvo2.remoteFileSavingQueue"};
    const JobEnvironment m_jobs{m_defaults, m_disk, m_clock, m_transfers, m_savingQueue};
    DesktopBus m_sessionBus{DesktopBus::sessionAddress()};
    DesktopBus m_systemBus{DesktopBus::systemAddress()};
    DesktopNotices m_notices{m_sessionBus};
    Login1SleepInhibitor m_sleep{m_systemBus};
    UnityLauncherBadge m_badge{m_sessionBus};
    SecretServicePasswordStore m_passwords;
    NotificationCenter m_notifications;
    const std::unique_ptr<UserInterface> m_interface; // with what follows it made around it
    const QueueController::Desktop m_desktop{m_sleep,
                                             m_interface->automaticTermination(),
                                             m_notices,
                                             m_badge,
                                             [this] { return m_interface->isWindowVisible(); },
                                             m_interface->fileActions()};
    AuthenticationManager m_credentials{m_passwords, m_interface->passwordPrompt(), m_defaults, m_clock};
    std::unique_ptr<QueueController> m_queue; // made with the main window
    std::unique_ptr<ChecksumWatch> m_checksums;
    std::unique_ptr<QueueService> m_queueService;
    Tarvo2AppDelegate m_delegate{environment()};
    bool m_isQuitting = false;
    ApplicationService m_service{m_sessionBus, requests()};
};

} // namespace tarvo
