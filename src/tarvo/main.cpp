// tarvo: puts the pieces together, or hands what it was given to the one that runs already.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <iterator>

#include <QCoreApplication>

#include "app/CloudLoggerProvider.h"
#include "app/CrashReports.h"
#include "app/HeadlessDesk.h"
#include "app/LaunchArgumentsProcessor.h"
#include "app/Settings.h"
#include "app/TRLoggingManager.h"
#include "app/Tarvo2AppDelegate.h"
#include "app/WindowlessMain.h"
#include "base/Localized.h"
#include "base/Log.h"
#include "base/ProcessArguments.h"
#include "base/ProcessLimits.h"
#include "base/Runloop.h"
#include "base/SettingKeys.h"
#include "base/UserDefaultsWatcher.h"
#include "platform/ApplicationService.h"
#include "platform/DesktopNotices.h"
#include "platform/FatalSignals.h"
#include "platform/InstanceSocket.h"
#include "platform/Interrupt.h"
#include "platform/Login1SleepInhibitor.h"
#include "platform/SecretServicePasswordStore.h"
#include "platform/UnityLauncherBadge.h"

namespace {

using namespace tarvo;

constexpr int kFailed = 1;
constexpr const char* kCrashReporter = "tarvo-crash-reporter"; // the name of the process that reports a crash
constexpr int kBadUsage = 2;
constexpr const char* kUsage =
    "Usage: tarvo [OPTION] [URL | BUNDLE]…\n\n"
    "Downloads what it is given, and goes on with what it has not finished. One runs for each user: what a\n"
    "second one is given goes to the first.\n\n"
    "  --headless       run without a window\n"
    "  -ResetDefaults   put all settings back to their defaults first; the saved queue goes with them\n"
    "  --version        print the version\n"
    "  -h,--help        print this\n";

struct CommandLine {
    std::vector<std::string> all;  // for the launch options
    std::vector<std::string> open; // addresses, API calls, absolute paths
};

/// An address stays what it is; a path is told as one that is good in any folder.
std::string forAnyFolder(const std::string& text) {
    const bool isAddress = text.find("://") != std::string::npos || text.starts_with("file:");
    return isAddress ? text : std::filesystem::absolute(text).lexically_normal().string();
}

/// As an error may show it: without a password, and not for pages.
std::string shown(const std::string& text) {
    constexpr std::size_t most = 200;
    const auto url = text.starts_with('/') ? std::nullopt : Url::parse(text);
    if (!url && !text.starts_with('/'))
        return "an argument that is no address";
    const std::string whole = url ? url->withoutPassword() : text;
    return whole.size() > most ? whole.substr(0, most) + "…" : whole;
}

/// Answers the status to end with, if the program is to end at once.
std::optional<int> readCommandLine(int argc, char** argv, CommandLine& line) {
    for (int i = 1; i < argc; ++i) {
        const std::string text = argv[i];
        line.all.push_back(text);
        if (text == "--version") {
            std::cout << "tarvo " TARVO_VERSION "\n";
            return EXIT_SUCCESS;
        }
        if (text == "--help" || text == "-h") {
            std::cout << kUsage;
            return EXIT_SUCCESS;
        }
        if (text.starts_with('-') && text != "--headless" &&
            text != LaunchArgumentsProcessor::kResetDefaultsOption) {
            std::cerr << "tarvo: unknown option " << text.substr(0, text.find('=')) << ".\n" << kUsage;
            return kBadUsage;
        }
        if (!text.starts_with('-'))
            line.open.push_back(forAnyFolder(text));
    }
    return std::nullopt;
}

int handOver(const InstanceSocket& instance, const CommandLine& line) {
    const auto outcomes = instance.handOver(line.open);
    if (!outcomes) {
        std::cerr << "tarvo: another one is running and does not answer: " << outcomes.error().sentence()
                  << "\n";
        return kFailed;
    }
    int status = EXIT_SUCCESS;
    for (std::size_t i = 0; i < outcomes->size(); ++i) {
        const AddOutcome& outcome = (*outcomes)[i];
        if (outcome.isFulfilled())
            continue;
        status = kFailed;
        std::cerr << "tarvo: not taken: " << shown(line.open[i]) << ": "
                  << (outcome.error ? outcome.error->sentence() : localized("tr.err.no-link")) << "\n";
    }
    return status;
}

/// The program without a window, from its first object to its last.
class Headless {
public:
    Headless(UserDefaults& defaults, const std::string& home, CommandLine line)
        : m_defaults(defaults), m_settings(defaults, home),
          m_delegate({.arguments = line.all,
                      .homeFolder = home,
                      .defaults = defaults,
                      .settings = m_settings,
                      .notifications = m_notifications,
                      .clock = m_clock,
                      .alerts = m_desk,
                      .presence = m_desk,
                      .setUpLogging = [this] { m_logging.setupLogging(); },
                      .emailSupport = [] {},
                      .startCrashReporting = [this] { startCrashReporting(); },
                      .makeMainWindow = [this] { return makeMainWindow(); }}),
          m_line(std::move(line)) {}

    void start() {
        m_delegate.applicationWillFinishLaunching();
        if (const auto remote = m_remoteLog.sharedLogger())
            Log::attach(remote);
        m_delegate.open(m_line.open); // waits for the window's stand-in
        m_delegate.applicationDidFinishLaunching();
        m_service.start();
    }

    void answer(const QJsonObject& request, const InstanceSocket::Answer& answer) {
        const auto open = InstanceSocket::handedOver(request);
        if (!open)
            return answer({{"error", "this is no request"}});
        if (open->empty())
            m_delegate.reopen();
        m_delegate.open(*open, [answer](const std::vector<AddOutcome>& outcomes) {
            answer(InstanceSocket::answerOf(outcomes));
        });
    }

    void quit() {
        if (m_queue)
            m_queue->quit();
        else
            QCoreApplication::exit();
    }

private:
    std::unique_ptr<MainWindow> makeMainWindow() {
        m_queue =
            std::make_unique<QueueController>(QueueController::Environment{.jobs = m_jobs,
                                                                           .notifications = m_notifications,
                                                                           .authManager = m_credentials,
                                                                           .pages = m_desk,
                                                                           .alerts = m_desk,
                                                                           .session = &m_defaults,
                                                                           .desktop = &m_desktop});
        QObject::connect(m_queue.get(), &QueueController::ended, [] { QCoreApplication::exit(); });
        QObject::connect(&m_desk, &HeadlessDesk::nobodyNeedsTheProgram, m_queue.get(),
                         &QueueController::quit);
        QObject::connect(&m_queue->remoteFiles(), &RemoteFilesArrayController::jobStateChanged, m_queue.get(),
                         [this](const std::shared_ptr<RemoteFile>& job, rf_state_t, rf_state_t state) {
                             if (state == rf_state_failed && !job->isRetryable())
                                 m_desk.presentError(*job->error());
                         });
        // Nobody is there to press a button: a restored queue goes on if additions would start it.
        if (m_queue->remoteFiles().content().size() > 0 && m_defaults.boolean(SettingKey::kAutoStartAfterAdd))
            m_queue->toggleAutorun();
        return std::make_unique<WindowlessMain>(*m_queue, m_jobs, m_settings, m_desk);
    }

    void startCrashReporting() {
        reportFatalSignals("/proc/self/exe", {kCrashReporter});
        CrashReports(m_disk, CrashReports::standardFolder()).tellNews(m_notices);
    }

    ApplicationRequests requests() {
        return {[this] { m_delegate.reopen(); },
                [this](const std::vector<std::string>& uris) { m_delegate.open(uris); },
                [this](const std::string& action) {
                    if (action == "toggle-autorun")
                        m_delegate.toggleAutorun();
                    else
                        m_delegate.reopen();
                }};
    }

    UserDefaults& m_defaults;
    const Settings m_settings;
    PosixDisk m_disk;
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
    ApplicationService m_service{m_sessionBus, requests()};
};

/// In a process of its own, which the one that crashed has started.
int reportCrash() {
    PosixDisk disk;
    const UserDefaults none("/dev/null"); // the settings may be what it crashed on
    const TRLoggingManager logging(none, disk, TRLoggingManager::standardLogFolder());
    const std::string trace{std::istreambuf_iterator<char>(std::cin), {}};
    const auto written = CrashReports(disk, CrashReports::standardFolder()).write(trace, logging);
    return written ? EXIT_SUCCESS : kFailed;
}

int run(const CommandLine& line) {
    const char* home = std::getenv("HOME");
    const std::string settings = UserDefaults::standardPath();
    PosixDisk disk;
    const std::string lockFile = InstanceSocket::standardLockFile(settings);
    InstanceSocket instance(lockFile, InstanceSocket::standardSocketPath(lockFile), disk);
    Headless* running = nullptr;
    const auto claimed =
        instance.claim([&](const QJsonObject& request, const InstanceSocket::Answer& answer) {
            running->answer(request, answer); // nobody is heard before the main loop runs
        });
    if (!claimed) {
        std::cerr << "tarvo: " << claimed.error().sentence() << "\n";
        return kFailed;
    }
    if (!*claimed)
        return handOver(instance, line);
    LiveCurlSegment::startUp();
    UserDefaults defaults(settings);
    defaults.keepToItself(Settings::ownKeys());
    const UserDefaultsWatcher watcher(defaults, settings);
    Headless program(defaults, home ? home : "/", line);
    running = &program;
    const Interrupt interrupt([&] { program.quit(); });
    Runloop::runOnNextTurn([&] { program.start(); });
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 1 && std::string_view(argv[0]) == kCrashReporter)
        return reportCrash();
    QCoreApplication application(argc, argv);
    CommandLine line;
    if (const auto status = readCommandLine(argc, argv, line))
        return *status;
    hidePasswords(argc, argv);
    raiseOpenFilesLimit();
    int status = 0;
    {
        const Runloop::Main mainThread;
        installLocalizedTexts();
        status = run(line);
    }
    LiveCurlSegment::cleanup();
    return status;
}
