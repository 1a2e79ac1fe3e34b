#include "app/StandardErrorSink.h"

#include <algorithm>
#include <cerrno>

#include <poll.h>
#include <unistd.h>

namespace tarvo {

namespace {

/// What a pipe that can be written to takes without waiting (pipe(7), PIPE_BUF on Linux).
constexpr std::size_t kMostBytes = 4096;

} // namespace

void StandardErrorSink::log(const spdlog::details::log_msg& message) {
    std::string line = m_formatter.formatLogMessage(message);
    line.resize(std::min(line.size(), kMostBytes - 1));
    line += '\n';
    std::lock_guard lock(m_mutex);
    pollfd reader{m_descriptor, POLLOUT, 0};
    if (::poll(&reader, 1, 0) < 1 || (reader.revents & POLLOUT) == 0)
        return;
    while (::write(m_descriptor, line.data(), line.size()) < 0 && errno == EINTR) {
    }
}

} // namespace tarvo
