// The log on disk: a file a day, a few of them kept.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <spdlog/sinks/sink.h>

#include "app/TRDebugLogFormatter.h"
#include "base/Disk.h"

namespace tarvo {

/// Appends lines to "tarvo-YYYY-MM-DD-NNN.log" in a folder, both readable by their owner only. A new
/// file begins with each local day, and within a day when one is full; the oldest are removed. Several
/// processes may write into the same files. Nothing that fails here disturbs the program: the line is
/// lost, and the file is tried again later. Any thread.
class RollingFileSink final : public spdlog::sinks::sink {
public:
    struct Limits {
        std::int64_t fileLength = 8 << 20; ///< bytes after which a file is full
        std::size_t files = 8;             ///< that are kept, the present one among them
    };

    /// `disk` outlives the sink. `folder` is made when the first line comes.
    RollingFileSink(Disk& disk, std::string folder, std::shared_ptr<TRDebugLogFormatter> formatter,
                    Limits limits);
    ~RollingFileSink() override;

    RollingFileSink(const RollingFileSink&) = delete;
    RollingFileSink& operator=(const RollingFileSink&) = delete;

    void log(const spdlog::details::log_msg& message) override;

    /// Lines go to the system as they come; there is nothing left to flush.
    void flush() override {}

    /// The format of the lines is fixed: these two change nothing.
    void set_pattern(const std::string& pattern) override;
    void set_formatter(std::unique_ptr<spdlog::formatter> formatter) override;

    /// The paths of all log files in a folder, newest first.
    static std::vector<std::string> logFilesIn(const std::string& folder);

private:
    bool isOpenFor(const std::string& day) const;
    void open(const std::string& day);
    void removeOldest();

    Disk& m_disk;
    const std::string m_folder;
    const std::shared_ptr<TRDebugLogFormatter> m_formatter;
    const Limits m_limits;
    std::mutex m_mutex; // guards what follows
    FileHandle m_file;
    std::string m_day;  // of the open file
    std::string m_path; // of the open file
    std::int64_t m_length = 0;
    std::chrono::steady_clock::time_point m_nextTry; // after a failure
};

} // namespace tarvo
