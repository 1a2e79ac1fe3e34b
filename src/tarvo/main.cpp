// tarvo: runs the application, or hands what it was given to the one that runs already.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <memory>
#include <thread>

#include <QApplication>

#include "app/CrashReports.h"
#include "app/LaunchArgumentsProcessor.h"
#include "app/SettingsTable.h"
#include "base/Localized.h"
#include "base/LookQueue.h"
#include "base/PosixDisk.h"
#include "base/ProcessArguments.h"
#include "base/ProcessLimits.h"
#include "base/Runloop.h"
#include "base/Text.h"
#include "base/UserDefaultsWatcher.h"
#include "platform/Interrupt.h"
#include "platform/RunningInstance.h"
#include "remote/Verbs.h"
#include "tarvo/Application.h"
#include "tarvo/Headless.h"
#include "ui/Icons.h"
#include "ui/WindowInterface.h"

namespace {

using namespace tarvo;

constexpr int kFailed = 1;

void complain(const std::string& text) {
    std::cerr << "tarvo: " << text << "\n";
}

/// What concerns the start of the program is too late for the one that runs.
int refuseToReset(int status, const CommandLine& line) {
    const auto& all = line.all;
    if (std::find(all.begin(), all.end(), LaunchArgumentsProcessor::kResetDefaultsOption) == all.end())
        return status;
    complain(localized("tr.start.not-reset", {std::string(LaunchArgumentsProcessor::kResetDefaultsOption)}));
    return kFailed;
}

int tell(const Result<std::vector<AddOutcome>>& outcomes, const CommandLine& line) {
    if (!outcomes) {
        complain(localized("tr.start.no-answer", {outcomes.error().sentence()}));
        return kFailed;
    }
    int status = EXIT_SUCCESS;
    for (std::size_t i = 0; i < outcomes->size(); ++i) {
        const AddOutcome& outcome = (*outcomes)[i];
        if (outcome.isFulfilled())
            continue;
        status = kFailed;
        complain(localized(
            "tr.start.not-taken",
            {shown(line.open[i]), outcome.error ? outcome.error->sentence() : localized("tr.err.no-link")}));
    }
    return status;
}

/// In a process of its own, which the one that crashed has started.
int reportCrash() {
    PosixDisk disk;
    const UserDefaults none("/dev/null", disk); // the settings may be what it crashed on
    const TRLoggingManager logging(none, disk, TRLoggingManager::standardLogFolder());
    const std::string trace{std::istreambuf_iterator<char>(std::cin), {}};
    const auto written = CrashReports(disk, CrashReports::standardFolder()).write(trace, logging);
    return written ? EXIT_SUCCESS : kFailed;
}

bool hasDisplay() {
    const auto isSet = [](const char* name) {
        const char* value = std::getenv(name);
        return value && *value != '\0';
    };
    return isSet("DISPLAY") || isSet("WAYLAND_DISPLAY") || isSet("QT_QPA_PLATFORM");
}

/// Of XDG Activation, or of the Startup Notification of the time before it.
std::string activationToken() {
    for (const auto* name : {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"}) {
        if (const char* token = std::getenv(name); token && *token != '\0')
            return token;
    }
    return {};
}

/// With what a window needs only where there can be one: without a display that would end the program, which
/// may have something to hand over.
std::unique_ptr<QCoreApplication> makeApplication(int& argc, char** argv, const CommandLine& line) {
    if (line.isHeadless || !hasDisplay())
        return std::make_unique<QCoreApplication>(argc, argv);
    auto application = std::make_unique<QApplication>(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setDesktopFileName(
        QString::fromLatin1(ApplicationService::kName)); // finds the icon's entry
    QApplication::setWindowIcon(Icons::ofApplication());
    return application;
}

/// The other one was ending, or has only begun.
bool isNoListener(const Error& error) {
    return error.is(ErrorDomain::Posix, ECONNREFUSED) || error.is(ErrorDomain::Posix, ENOENT) ||
           error.is(ErrorDomain::Posix, ECONNRESET) || error.is(ErrorDomain::Posix, EPIPE);
}

/// Claims to be the one that runs, or hands over to that one: the exit status then. A program that is killed
/// answers no more before its lock is gone, for the system may take a while to clear up a large one.
std::optional<int> claimOrHandOver(InstanceSocket& instance, const InstanceSocket::Handler& handler,
                                   const RunningInstance& other, const CommandLine& line) {
    constexpr std::chrono::seconds kPatience{5};
    constexpr std::chrono::milliseconds kPause{50};
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (true) {
        const auto claimed = instance.claim(handler);
        if (!claimed) {
            complain(claimed.error().sentence());
            return kFailed;
        }
        if (*claimed)
            return std::nullopt;
        const auto outcomes = other.handOver(line.open, line.activationToken);
        if (outcomes || !isNoListener(outcomes.error()) || std::chrono::steady_clock::now() > end)
            return refuseToReset(tell(outcomes, line), line);
        std::this_thread::sleep_for(kPause);
    }
}

int run(const CommandLine& line, const std::string& homeFolder) {
    const std::string settings = UserDefaults::standardPath();
    PosixDisk disk;
    const std::string lockFile = InstanceSocket::standardLockFile(settings);
    const std::string socketPath = InstanceSocket::standardSocketPath(lockFile);
    InstanceSocket instance(lockFile, socketPath, disk);
    Application* running = nullptr;
    const auto answer = [&](const QJsonObject& request, const InstanceSocket::Answer& tell) {
        running->answer(request, tell); // none comes before the main loop runs
    };
    if (const auto status = claimOrHandOver(instance, answer, RunningInstance(socketPath), line))
        return *status;
    if (!line.isHeadless && !hasDisplay()) {
        complain(localized("tr.start.no-display"));
        return kFailed;
    }
    LiveCurlSegment::startUp();
    UserDefaults defaults(settings, disk);
    defaults.keepToItself(settingsOfTheProgram());
    const UserDefaultsWatcher watcher(defaults, settings);
    const auto makeUserInterface = [&](UserNotices& notices, DesktopBus& sessionBus,
                                       CookieKeeper& cookies) -> std::unique_ptr<UserInterface> {
        if (line.isHeadless)
            return std::make_unique<Headless>(notices, homeFolder);
        return std::make_unique<WindowInterface>(notices, sessionBus, defaults, cookies, homeFolder);
    };
    int status = 0;
    {
        Application program(defaults, disk, makeUserInterface, line, homeFolder);
        running = &program;
        const Interrupt interrupt([&] { program.quit(); });
        Runloop::runOnNextTurn([&] { program.start(); });
        status = QCoreApplication::exec();
    }
    defaults.flush();
    LookQueue::leaveIfAnyIsLeft(status);
    return status;
}

/// Of the application that runs.
int steer(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    installLocalizedTexts();
    const Runloop::Main mainThread;
    return runVerb(argc, argv);
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 1 && std::string_view(argv[0]) == Application::kCrashReporter)
        return reportCrash();
    const auto home = findHomeFolder();
    if (argc > 1 && isVerb(argv[1]))
        return steer(argc, argv);
    CommandLine line;
    if (const auto status = readCommandLine(argc, argv, line))
        return *status;
    line.activationToken = activationToken(); // the application object takes it out of the environment
    const auto application = makeApplication(argc, argv, line);
    installLocalizedTexts();
    if (const auto status = makePathsWhole(line))
        return *status;
    hidePasswords(argc, argv);
    raiseOpenFilesLimit();
    surviveFileSizeLimit();
    if (!home) {
        complain(localized("tr.start.no-home"));
        return kFailed;
    }
    int status = 0;
    {
        const Runloop::Main mainThread;
        status = run(line, *home);
    }
    LiveCurlSegment::cleanup();
    return status;
}
