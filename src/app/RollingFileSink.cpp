// Opens, rolls and appends; drops what can't be written.
#include "app/RollingFileSink.h"

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <spdlog/details/log_msg.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarvo {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kPrefix = "tarvo-";
constexpr std::string_view kSuffix = ".log";
constexpr int kMostFilesOfADay = 999;
constexpr auto kPauseAfterFailure = std::chrono::seconds(10);

std::string dayOf(spdlog::log_clock::time_point moment) {
    const std::time_t calendar = std::chrono::system_clock::to_time_t(moment);
    std::tm local{};
    ::localtime_r(&calendar, &local);
    return fmt::format("{:04}-{:02}-{:02}", local.tm_year + 1900, local.tm_mon + 1, local.tm_mday);
}

std::int64_t lengthOf(int descriptor) {
    struct stat status {};

    return ::fstat(descriptor, &status) == 0 ? status.st_size : 0;
}

} // namespace

RollingFileSink::RollingFileSink(Disk& disk, std::string folder,
                                 std::shared_ptr<TRDebugLogFormatter> formatter, Limits limits)
    : m_disk(disk), m_folder(std::move(folder)), m_formatter(std::move(formatter)), m_limits(limits) {
    m_formatter->didAddToLogger();
}

RollingFileSink::~RollingFileSink() {
    m_formatter->willRemoveFromLogger();
}

void RollingFileSink::set_pattern(const std::string&) {
}

void RollingFileSink::set_formatter(std::unique_ptr<spdlog::formatter>) {
}

void RollingFileSink::log(const spdlog::details::log_msg& message) {
    const std::lock_guard lock(m_mutex);
    const std::string line = m_formatter->formatLogMessage(message) + "\n";
    const std::string day = dayOf(message.time);
    if (!isOpenFor(day))
        open(day);
    // One call for the whole line: lines of several processes don't mix (O_APPEND).
    const ssize_t written = m_file ? ::write(m_file.descriptor(), line.data(), line.size()) : -1;
    m_length += std::max<ssize_t>(written, 0);
}

bool RollingFileSink::isOpenFor(const std::string& day) const {
    return m_file && m_day == day && m_length < m_limits.fileLength;
}

void RollingFileSink::open(const std::string& day) {
    const auto now = std::chrono::steady_clock::now();
    if (now < m_nextTry)
        return;
    m_file.close();
    m_nextTry = now + kPauseAfterFailure;
    if (!m_disk.makeFolders(m_folder))
        return;
    for (int number = 1; number <= kMostFilesOfADay; ++number) {
        m_path = fmt::format("{}/{}{}-{:03}{}", m_folder, kPrefix, day, number, kSuffix);
        FileHandle file(::open(m_path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
        if (!file)
            return;
        m_length = lengthOf(file.descriptor());
        if (m_length >= m_limits.fileLength)
            continue;
        m_file = std::move(file);
        m_day = day;
        m_nextTry = {};
        removeOldest();
        return;
    }
}

std::vector<std::string> RollingFileSink::logFilesIn(const std::string& folder) {
    std::vector<std::string> files;
    std::error_code problem;
    for (fs::directory_iterator entry(folder, problem), end; !problem && entry != end;
         entry.increment(problem)) {
        const std::string name = entry->path().filename();
        if (name.starts_with(kPrefix) && name.ends_with(kSuffix))
            files.push_back(entry->path());
    }
    // The names sort like the times at which the files were begun.
    std::sort(files.rbegin(), files.rend());
    return files;
}

void RollingFileSink::removeOldest() {
    const auto files = logFilesIn(m_folder);
    for (std::size_t i = m_limits.files; i < files.size(); ++i)
        if (files[i] != m_path)
            ::unlink(files[i].c_str());
}

} // namespace tarvo
