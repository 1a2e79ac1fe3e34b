// Log lines sent to a syslog server on the network.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include <spdlog/sinks/sink.h>

#include "app/TRDebugLogFormatter.h"
#include "base/Disk.h"

namespace tarvo {

/// Sends each line as a message of RFC 5424 in a datagram (RFC 5426). Logging never waits for the network:
/// lines go into a bounded queue and from there, on a thread of the sink's own, to the server; they are
/// dropped when the queue is full or the server can't be reached. Any thread.
class RemoteSyslogSink final : public spdlog::sinks::sink {
public:
    struct Server {
        std::string host; ///< name or address
        std::uint16_t port = 0;
    };

    /// `programName` goes into the APP-NAME field, cut to its 48 printable ASCII characters.
    RemoteSyslogSink(Server server, std::string_view programName, std::size_t queueLength = 1000);

    /// Sends what is queued, for at most half a second, and only if the server can be reached.
    ~RemoteSyslogSink() override;

    RemoteSyslogSink(const RemoteSyslogSink&) = delete;
    RemoteSyslogSink& operator=(const RemoteSyslogSink&) = delete;

    void log(const spdlog::details::log_msg& message) override;

    /// The thread sends as fast as it can; waiting for it is what this sink never does.
    void flush() override {}

    /// The format of the lines is fixed: these two change nothing.
    void set_pattern(const std::string& pattern) override;
    void set_formatter(std::unique_ptr<spdlog::formatter> formatter) override;

    /// Lines that were dropped so far.
    std::uint64_t droppedCount() const { return m_dropped; }

private:
    using Moment = std::chrono::steady_clock::time_point;

    std::string messageFor(const spdlog::details::log_msg& message) const;
    void work();
    std::optional<std::string> next();
    bool send(const std::string& message);
    bool connect();

    const Server m_server;
    const std::string m_header; // of every message: host, program, process
    const std::size_t m_queueLength;
    TRDebugLogFormatter m_formatter;
    std::atomic<std::uint64_t> m_dropped{0};

    std::mutex m_mutex; // guards the queue and the end
    std::condition_variable m_changed;
    std::deque<std::string> m_queue;
    std::optional<Moment> m_end; // set when the sink closes: when the thread has to be through

    FileHandle m_socket; // of the thread alone, as is what follows
    Moment m_nextTry;    // after a failure
    std::thread m_thread;
};

} // namespace tarvo
