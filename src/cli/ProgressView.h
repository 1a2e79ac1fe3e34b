// How tarvo-get tells what happens: a terminal's line, plain lines, JSON, or nothing.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <string>

#include "base/Clock.h"
#include "base/Error.h"

namespace tarvo {

/// One look at a download.
struct DownloadSnapshot {
    std::string url;              ///< without a password
    std::string name;             ///< of the file
    std::int64_t bytes = 0;       ///< on disk so far
    std::int64_t size = 0;        ///< below 1: not known
    std::int64_t speed = 0;       ///< bytes per second
    std::int64_t connections = 0; ///< at work
    Seconds left{0};              ///< to the end at this speed
};

/// What became of a finished download.
struct DownloadResult {
    std::string path;
    std::int64_t bytes = 0;
    Seconds took{0};
    bool checksumMatched = false; ///< a digest was asked for and is right
};

/// Results and progress go to standard output; problems to standard error. Main thread.
class ProgressView {
public:
    virtual ~ProgressView() = default;

    /// An attempt begins; the server has not answered yet.
    virtual void connecting(const DownloadSnapshot& download) = 0;
    virtual void started(const DownloadSnapshot& download) = 0;

    /// Called ten times a second; a view shows what it has room for.
    virtual void progress(const DownloadSnapshot& download, TimePoint now) = 0;
    virtual void finished(const DownloadSnapshot& download, const DownloadResult& result) = 0;
    virtual void failed(const DownloadSnapshot& download, const Error& error) = 0;

    /// Something a person should know that is neither result nor progress.
    virtual void notice(const std::string& text) = 0;
};

/// The view for these options: JSON lines, nothing, a live line on a terminal, else plain lines.
std::unique_ptr<ProgressView> makeProgressView(bool json, bool quiet, std::ostream& output,
                                               std::ostream& problems, bool outputIsTerminal, bool colour);

/// "12.3 MiB": bytes with a binary unit (IEC 80000-13).
std::string readableBytes(std::int64_t bytes);

/// "1:02:03" or "2:03"; from a hundred hours on "5 d".
std::string readableDuration(Seconds duration);

/// The one line of a terminal `columns` wide: name, bar, percent, speed, connections and time left, or what
/// of these there is room for. Needs the locale's character types (setlocale), as QCoreApplication sets them.
std::string terminalLine(const DownloadSnapshot& download, int columns, bool colour);

} // namespace tarvo
