// Sets the log up when the program starts, and hands its recent text to who reports a crash.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/RollingFileSink.h"
#include "app/StandardErrorSink.h"
#include "base/Disk.h"
#include "base/UserDefaults.h"

namespace tarvo {

/// Owns the log file. Made first of all, on the main thread.
class TRLoggingManager {
public:
    /// Shows the log files, newest first, to the user; only asked in debug mode.
    using WindowOpener = std::function<void(const std::vector<std::string>& logFiles)>;

    /// `defaults` and `disk` outlive the manager. The folder is made, for its owner only, when it is
    /// first needed.
    TRLoggingManager(const UserDefaults& defaults, Disk& disk, std::string logFolder,
                     WindowOpener openLoggingWindow = {});

    /// Ends the log file, and the copy.
    ~TRLoggingManager();

    TRLoggingManager(const TRLoggingManager&) = delete;
    TRLoggingManager& operator=(const TRLoggingManager&) = delete;

    /// $XDG_STATE_HOME/tarvo/logs, by the XDG Base Directory Specification.
    static std::string standardLogFolder();

    /// Begins the log file: with every level in debug mode, else with errors and warnings. Once per
    /// process; again is a logged assertion. That the file can't be written is no failure.
    void setupLogging();

    /// From now on warnings and errors go to standard error, too, whatever the settings say. Once per
    /// process.
    void copyToStandardError();

    /// The setting "DebugModeEnabled".
    bool isDebugModeEnabled() const;

    /// The log files' text, oldest first; from a text of more than `maxSize` characters its end, less
    /// the very last character.
    std::string getLogFilesContentWithMaxSize(std::size_t maxSize) const;

    /// What goes into a crash report: at most 5000 characters, none when the log is empty.
    std::optional<std::string> applicationLogForCrashManager() const;

private:
    const UserDefaults& m_defaults;
    Disk& m_disk;
    const std::string m_logFolder;
    const WindowOpener m_openLoggingWindow;
    std::shared_ptr<RollingFileSink> m_fileLogger;          // null until set up
    std::shared_ptr<StandardErrorSink> m_standardErrorCopy; // null: none is made
};

} // namespace tarvo
