// The log file's set-up, and the window on its end.
#include "app/TRLoggingManager.h"

#include <algorithm>
#include <atomic>

#include <QString>
#include <unistd.h>

#include "base/Log.h"
#include "base/Runloop.h"
#include "base/Settings.h"
#include "base/StateFolder.h"

namespace tarvo {

namespace {

constexpr std::size_t kCrashReportSize = 5000;
constexpr std::int64_t kLongestLogFile = 64 << 20; // far above the length at which a file is full

std::atomic<bool> loggingIsSetUp{false};

bool beginsCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xc0) != 0x80;
}

std::size_t characterCount(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), beginsCharacter));
}

/// The length in bytes of `text` without its last `count` characters.
std::size_t lengthWithoutLast(const std::string& text, std::size_t count) {
    std::size_t length = text.size();
    while (count > 0 && length > 0)
        count -= beginsCharacter(text[--length]) ? 1 : 0;
    return length;
}

/// What is no UTF-8 in `bytes` is replaced, so that characters can be told by their first bytes.
std::string asUtf8(const std::string& bytes) {
    return QString::fromStdString(bytes).toStdString();
}

} // namespace

TRLoggingManager::TRLoggingManager(const UserDefaults& defaults, Disk& disk, std::string logFolder,
                                   WindowOpener openLoggingWindow)
    : m_defaults(defaults), m_disk(disk), m_logFolder(std::move(logFolder)),
      m_openLoggingWindow(std::move(openLoggingWindow)) {
}

TRLoggingManager::~TRLoggingManager() {
    if (m_fileLogger)
        Log::detach(m_fileLogger);
    if (m_standardErrorCopy)
        Log::detach(m_standardErrorCopy);
}

std::string TRLoggingManager::standardLogFolder() {
    return stateFolder() + "/logs";
}

void TRLoggingManager::setupLogging() {
    Runloop::assertMain();
    Log::assertThat(!loggingIsSetUp.exchange(true));
    if (m_fileLogger)
        Log::detach(m_fileLogger);
    m_fileLogger = std::make_shared<RollingFileSink>(
        m_disk, m_logFolder, std::make_shared<TRDebugLogFormatter>(), RollingFileSink::Limits());
    m_fileLogger->set_level(Log::threshold(isDebugModeEnabled() ? LogLevel::verbose : LogLevel::warning));
    Log::attach(m_fileLogger);
    if (isDebugModeEnabled()) {
        Log::info("Debug mode is enabled. Opening Logging Window.");
        if (m_openLoggingWindow)
            m_openLoggingWindow(RollingFileSink::logFilesIn(m_logFolder));
    }
    Log::info("Logging has initialized");
}

void TRLoggingManager::copyToStandardError() {
    Runloop::assertMain();
    if (!Log::assertThat(!m_standardErrorCopy))
        return;
    m_standardErrorCopy = std::make_shared<StandardErrorSink>(STDERR_FILENO);
    m_standardErrorCopy->set_level(Log::threshold(LogLevel::warning));
    Log::attach(m_standardErrorCopy);
}

bool TRLoggingManager::isDebugModeEnabled() const {
    return Settings(m_defaults).isDebugModeEnabled();
}

std::string TRLoggingManager::getLogFilesContentWithMaxSize(std::size_t maxSize) const {
    std::string text;
    // Files from before the window are not needed: reading goes backwards and ends as soon as it can.
    for (const std::string& path : RollingFileSink::logFilesIn(m_logFolder)) {
        if (const auto content = m_disk.readFile(path, kLongestLogFile))
            text.insert(0, asUtf8(*content));
        if (characterCount(text) > maxSize)
            break;
    }
    if (characterCount(text) <= maxSize)
        return text;
    text.resize(lengthWithoutLast(text, 1));
    return text.substr(lengthWithoutLast(text, maxSize));
}

std::optional<std::string> TRLoggingManager::applicationLogForCrashManager() const {
    std::string text = getLogFilesContentWithMaxSize(kCrashReportSize);
    return text.empty() ? std::nullopt : std::optional(std::move(text));
}

} // namespace tarvo
