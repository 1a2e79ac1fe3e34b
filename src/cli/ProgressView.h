// How tarvo-get tells what happens: a terminal's lines, plain lines, JSON, or nothing.
#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "base/Clock.h"
#include "base/Error.h"
#include "cli/Targets.h"
#include "queue/DownloadSnapshot.h"

namespace tarvo {

/// The whole of what was asked for.
struct QueueCounts {
    std::size_t total = 0;
    std::size_t finished = 0;
    std::size_t failed = 0;
    std::int64_t bytes = 0; ///< that were fetched by those that have ended
};

/// A download between two attempts.
struct Waiting {
    std::string name;
    Seconds left{0};   ///< to the next attempt
    std::string cause; ///< of the last failure: a sentence
};

/// What has become of all that was asked for.
struct RunSummary {
    QueueCounts counts;         ///< those that were there already count as finished
    std::size_t present = 0;    ///< that were there already
    bool isInterrupted = false; ///< interrupted() has been told
    Seconds took{0};
    std::vector<std::pair<std::string, Error>> failures{}; ///< by address
};

/// What became of a finished download.
struct DownloadResult {
    std::string path;
    std::int64_t bytes = 0;
    Seconds took{0};
    bool checksumMatched = false; ///< a digest was asked for and is right
    std::int64_t fetched = 0;     ///< of the bytes, those that this run has brought
};

/// Results and progress go to standard output; problems to standard error. Main thread.
class ProgressView {
public:
    virtual ~ProgressView() = default;

    /// An attempt begins; the server has not answered yet.
    virtual void connecting(const DownloadSnapshot& download) = 0;
    virtual void started(const DownloadSnapshot& download) = 0;

    /// Called ten times a second with all that run; a view shows what it has room for.
    virtual void progress(const std::vector<DownloadSnapshot>& running, const QueueCounts& counts,
                          TimePoint now) = 0;
    virtual void finished(const DownloadSnapshot& download, const DownloadResult& result) = 0;

    /// The file was there already, of the version that the server has; nothing was fetched.
    virtual void present(const DownloadSnapshot& /*download*/, const DownloadResult& /*result*/) {}

    virtual void failed(const DownloadSnapshot& download, const Error& error) = 0;

    /// A line of a list that names nothing to download.
    virtual void refused(const BadLine& /*line*/) {}

    /// An attempt has failed; the next one comes after `delay`, and `left` more may follow.
    virtual void retrying(const DownloadSnapshot& download, const Error& cause, Seconds delay,
                          std::int64_t left);

    /// Those that are neither running nor done, as they are when progress() is called next.
    virtual void waiting(const std::vector<Waiting>& /*downloads*/) {}

    /// The user has ended it all; the progress of `saved` downloads is kept, of one of them in `bundle`.
    virtual void interrupted(std::size_t saved, const std::string& bundle);

    /// Everything has come to its end.
    virtual void ended(const RunSummary& /*summary*/) {}

    /// Something a person should know that is neither result nor progress.
    virtual void notice(const std::string& text) = 0;

    /// From now on `question` stands in the terminal's last line, where it waits for the user, until it is
    /// empty: nothing is drawn over it, and after a line that must be written it is shown again.
    virtual void makeRoomFor(const std::string& /*question*/) {}
};

/// The view for these options: JSON lines, nothing, live lines on a terminal, else plain lines.
std::unique_ptr<ProgressView> makeProgressView(bool json, bool quiet, std::ostream& output,
                                               std::ostream& problems, bool outputIsTerminal, bool colour);

} // namespace tarvo
