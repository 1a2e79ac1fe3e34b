// The queue, the thread that empties it, and the wire format.
#include "app/RemoteSyslogSink.h"

#include <algorithm>
#include <cerrno>
#include <ctime>

#include <netdb.h>
#include <resolv.h>
#include <spdlog/details/log_msg.h>
#include <sys/socket.h>
#include <unistd.h>

#include "base/FileName.h"

namespace tarvo {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kLongestMessage = 2048;   // what receivers should take: RFC 5424, section 6.1
constexpr std::size_t kLongestHostName = 255;   // RFC 5424, section 6
constexpr std::size_t kLongestProgramName = 48; // RFC 5424, section 6
constexpr int kFacility = 1;                    // user-level messages: RFC 5424, section 6.2.1
constexpr auto kPauseAfterFailure = 10s;
constexpr auto kLastWords = 500ms;

/// Severities of RFC 5424, section 6.2.1.
int severityOf(LogLevel level) {
    switch (level) {
    case LogLevel::error:
        return 3;
    case LogLevel::warning:
        return 4;
    case LogLevel::info:
        return 6;
    default:
        return 7;
    }
}

/// A header field: printable ASCII without spaces, "-" when nothing is left.
std::string field(std::string_view text, std::size_t limit) {
    std::string result;
    for (const char c : text)
        if (c > ' ' && c < 0x7f && result.size() < limit)
            result += c;
    return result.empty() ? "-" : result;
}

std::string hostName() {
    char name[kLongestHostName + 1] = {};
    return ::gethostname(name, kLongestHostName) == 0 ? name : "";
}

/// RFC 3339, in UTC, with microseconds.
std::string timestampOf(spdlog::log_clock::time_point moment) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(moment);
    const auto rest = std::chrono::duration_cast<std::chrono::microseconds>(moment - seconds).count();
    const std::time_t calendar = std::chrono::system_clock::to_time_t(seconds);
    std::tm utc{};
    ::gmtime_r(&calendar, &utc);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:06}Z", utc.tm_year + 1900, utc.tm_mon + 1,
                       utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec, rest);
}

/// Makes look-ups by this thread short: the program must be able to end while the network is down.
void limitNameLookups() {
    if (::res_init() != 0)
        return;
    _res.retrans = 1; // seconds
    _res.retry = 1;
}

} // namespace

RemoteSyslogSink::RemoteSyslogSink(Server server, std::string_view programName, std::size_t queueLength)
    : m_server(std::move(server)), m_header(fmt::format(" {} {} {} - - ", field(hostName(), kLongestHostName),
                                                        field(programName, kLongestProgramName), ::getpid())),
      m_queueLength(queueLength), m_thread([this] { work(); }) {
}

RemoteSyslogSink::~RemoteSyslogSink() {
    {
        const std::lock_guard lock(m_mutex);
        m_end = std::chrono::steady_clock::now() + kLastWords;
    }
    m_changed.notify_all();
    m_thread.join();
}

void RemoteSyslogSink::set_pattern(const std::string&) {
}

void RemoteSyslogSink::set_formatter(std::unique_ptr<spdlog::formatter>) {
}

void RemoteSyslogSink::log(const spdlog::details::log_msg& message) {
    std::string text = messageFor(message);
    {
        const std::lock_guard lock(m_mutex);
        if (m_queue.size() >= m_queueLength) {
            ++m_dropped;
            return;
        }
        m_queue.push_back(std::move(text));
    }
    m_changed.notify_one();
}

std::string RemoteSyslogSink::messageFor(const spdlog::details::log_msg& message) const {
    const int priority = kFacility * 8 + severityOf(Log::levelOf(message.level));
    return cutToBytes(fmt::format("<{}>1 {}{}{}", priority, timestampOf(message.time), m_header,
                                  m_formatter.formatLogMessage(message)),
                      kLongestMessage);
}

void RemoteSyslogSink::work() {
    limitNameLookups();
    while (const auto message = next()) {
        if (send(*message))
            continue;
        ++m_dropped;
        m_socket.close();
        m_nextTry = std::chrono::steady_clock::now() + kPauseAfterFailure;
    }
}

/// Waits for a message that can be sent now; none when the thread is to end.
std::optional<std::string> RemoteSyslogSink::next() {
    std::unique_lock lock(m_mutex);
    const auto isClosing = [this] { return m_end.has_value(); };
    m_changed.wait_until(lock, m_nextTry, isClosing);
    m_changed.wait(lock, [&] { return isClosing() || !m_queue.empty(); });
    const auto now = std::chrono::steady_clock::now();
    if (m_queue.empty() || (m_end && (now >= *m_end || now < m_nextTry))) {
        m_dropped += m_queue.size();
        return std::nullopt;
    }
    std::string message = std::move(m_queue.front());
    m_queue.pop_front();
    return message;
}

bool RemoteSyslogSink::send(const std::string& message) {
    if (!m_socket && !connect())
        return false;
    ssize_t sent = -1;
    do {
        sent = ::send(m_socket.descriptor(), message.data(), message.size(), MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent >= 0;
}

bool RemoteSyslogSink::connect() {
    addrinfo wanted{};
    wanted.ai_socktype = SOCK_DGRAM;
    addrinfo* found = nullptr;
    if (::getaddrinfo(m_server.host.c_str(), std::to_string(m_server.port).c_str(), &wanted, &found) != 0)
        return false;
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owned(found, ::freeaddrinfo);
    for (const addrinfo* each = found; each; each = each->ai_next) {
        FileHandle socket(::socket(each->ai_family, each->ai_socktype | SOCK_CLOEXEC, each->ai_protocol));
        if (!socket || ::connect(socket.descriptor(), each->ai_addr, each->ai_addrlen) != 0)
            continue;
        const timeval limit{0, std::chrono::microseconds(kLastWords).count()}; // for room in the kernel
        ::setsockopt(socket.descriptor(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        m_socket = std::move(socket);
        return true;
    }
    return false;
}

} // namespace tarvo
