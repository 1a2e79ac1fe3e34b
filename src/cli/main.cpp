// tarvo-get: puts the pieces together, runs the main loop, and takes them apart in order.
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iostream>

#include <QCoreApplication>
#include <spdlog/sinks/stdout_sinks.h>
#include <unistd.h>

#include "app/SettingsTable.h"
#include "app/TRDebugLogFormatter.h"
#include "app/TRLoggingManager.h"
#include "base/Localized.h"
#include "base/Log.h"
#include "base/PosixDisk.h"
#include "base/ProcessArguments.h"
#include "base/ProcessLimits.h"
#include "base/Runloop.h"
#include "base/SettingKeys.h"
#include "cli/Attach.h"
#include "cli/DownloadRunner.h"
#include "cli/Options.h"
#include "cli/OutputRunner.h"
#include "cli/StandardOutput.h"
#include "cli/TerminalPrompt.h"
#include "platform/InstanceSocket.h"
#include "platform/Interrupt.h"
#include "platform/RunningInstance.h"
#include "platform/SecretServicePasswordStore.h"
#include "storage/LearnedLimitsKeeper.h"

namespace {

using namespace tarvo;

// Queues for preparing, saving and hashing, and what looks a name up; the transfer and what writes its data
// out.
constexpr std::size_t kThreads = 8;
constexpr std::size_t kThreadsOfAJob = 2;

void logToStandardError() {
    auto sink = std::make_shared<spdlog::sinks::stderr_sink_mt>();
    sink->set_formatter(std::make_unique<TRDebugLogFormatter>());
    sink->set_level(Log::threshold(LogLevel::verbose));
    Log::attach(sink);
}

void applyToSettings(const Options& options, UserDefaults& defaults) {
    if (options.userAgent)
        defaults.setForThisRun(SettingKey::kCustomUserAgent, QString::fromStdString(*options.userAgent));
    if (options.proxy)
        defaults.setForThisRun(SettingKey::kProxyUrl, QString::fromStdString(*options.proxy));
    if (options.limitRate)
        defaults.setForThisRun(SettingKey::kSpeedLimit, static_cast<qlonglong>(*options.limitRate));
    defaults.setForThisRun(SettingKey::kDefaultConcurrency, static_cast<qlonglong>(options.jobs));
}

int complain(const std::string& text) {
    std::cerr << "tarvo-get: " << text << std::endl;
    return DownloadRunner::kSomeFailed;
}

RequestTraits traitsOf(const Options& options) {
    return {.headers = options.headers,
            .ipVersion = options.ipVersion,
            .connectTimeout = std::chrono::seconds(options.connectTimeout),
            .takesWhatIsThere = !options.again,
            .comparesTimes = options.timestamping,
            .pages = options.page ? Pages::taken : Pages::takenIfAskedFor,
            .largestFile = options.largestFile};
}

std::unique_ptr<ProgressView> viewFor(const Options& options) {
    const char* kind = std::getenv("TERM");
    const bool outputIsSeen = ::isatty(STDOUT_FILENO) != 0;
    const bool isSeen = options.toStandardOutput ? ::isatty(STDERR_FILENO) != 0 : outputIsSeen;
    const bool terminal = isSeen && kind && std::string_view(kind) != "dumb";
    const char* noColour = std::getenv("NO_COLOR"); // any value that is not empty (no-color.org)
    // No line is drawn into a file that is shown on the same terminal.
    const bool quiet = options.quiet || (options.toStandardOutput && outputIsSeen);
    return makeProgressView(options.json, quiet, options.toStandardOutput ? std::cerr : std::cout, std::cerr,
                            terminal, terminal && !(noColour && *noColour));
}

/// Runs the main loop until `runner`, a DownloadRunner or an OutputRunner, has ended.
template <class Runner>
int runToTheEnd(Runner& runner, std::function<void()>& interrupted) {
    interrupted = [&runner] { runner.interrupt(); };
    QObject::connect(&runner, &Runner::ended, [](int status) { QCoreApplication::exit(status); });
    Runloop::runOnNextTurn([&] { runner.start(); });
    return QCoreApplication::exec();
}

int download(const Options& options, UserDefaults& defaults, Disk& disk) {
    TRLoggingManager logging(defaults, disk, TRLoggingManager::standardLogFolder());
    logging.setupLogging();
    if (options.verbose)
        logToStandardError();
    applyToSettings(options, defaults);

    const SystemClock clock;
    CookieStore cookies;
    if (!options.cookieFile.empty()) {
        const auto loaded = Disk::exists(options.cookieFile)
                                ? cookies.load(disk, options.cookieFile, clock.wallNow())
                                : failure(Error::posix(ENOENT, "open", options.cookieFile));
        if (!loaded)
            return complain("--cookie-file: " + loaded.error().sentence());
    }
    const TransferEnvironment transfers{
        .defaults = defaults, .cookies = cookies, .clock = clock, .traits = traitsOf(options)};
    transfers.connectionPools->speedLimit().setRate(Settings(defaults).speedLimit());
    const LearnedLimitsKeeper limits(transfers.hostConnections, LearnedLimitsKeeper::standardFile(), disk);
    SerialQueue savingQueue("com.unregistered.tarvo2.remoteFileSavingQueue");
    const JobEnvironment environment{.defaults = defaults,
                                     .disk = disk,
                                     .clock = clock,
                                     .transfers = transfers,
                                     .remoteFileSavingQueue = savingQueue,
                                     .checksumDecides = true};

    std::function<void()> interrupted = [] {};
    Interrupt interrupt([&] { interrupted(); });
    const auto view = viewFor(options);
    TerminalPrompt prompt("/dev/tty", *view);
    SecretServicePasswordStore passwords;
    AuthenticationManager credentials(passwords, &prompt, defaults, clock);

    if (options.toStandardOutput) {
        OutputRunner runner(options, environment, credentials, *view, kRetryDelay, STDOUT_FILENO);
        return runToTheEnd(runner, interrupted);
    }
    DownloadRunner runner(options, environment, credentials, *view, kRetryDelay);
    return runToTheEnd(runner, interrupted);
}

int run(int argc, char** argv, const std::string& home) {
    const Runloop::Main mainThread;
    PosixDisk disk;
    UserDefaults defaults(UserDefaults::standardPath(), disk);
    registerDefaultSettings(defaults);
    auto parsed = parseOptions(argc, argv, Settings(defaults), home);
    hidePasswords(argc, argv);
    if (const auto* early = std::get_if<EarlyExit>(&parsed)) {
        (early->status == 0 ? std::cout : std::cerr) << early->text;
        return early->status;
    }
    const auto& options = std::get<Options>(parsed);
    if (options.attach) {
        const std::string lock = InstanceSocket::standardLockFile(UserDefaults::standardPath());
        const RunningInstance running(InstanceSocket::standardSocketPath(lock));
        return attach(options, running, std::cout, std::cerr);
    }
    if (!mayOpenEnoughFiles())
        return complain(localized("tr.get.too-few-files"));
    if (!mayStartThreads(kThreads + kThreadsOfAJob * static_cast<std::size_t>(options.jobs)))
        return complain(localized("tr.get.too-few-threads"));
    LiveCurlSegment::startUp();
    return download(options, defaults, disk);
}

/// The status, unless what was to be printed is lost.
int afterFlushing(StandardOutput& output, int status) {
    std::cout.flush();
    if (output.problem() == 0)
        return status;
    complain(localized("tr.get.no-output", {std::strerror(output.problem())}));
    return status == DownloadRunner::kAllFinished ? DownloadRunner::kSomeFailed : status;
}

} // namespace

int main(int argc, char** argv) {
    const auto home = findHomeFolder();
    QCoreApplication application(argc, argv);
    raiseOpenFilesLimit();
    surviveFileSizeLimit();
    installLocalizedTexts();
    if (!home)
        return complain(localized("tr.start.no-home"));
    StandardOutput output(STDOUT_FILENO);
    auto* const usual = std::cout.rdbuf(&output);
    const int status = afterFlushing(output, run(argc, argv, *home));
    std::cout.rdbuf(usual);
    LiveCurlSegment::cleanup();
    return status;
}
