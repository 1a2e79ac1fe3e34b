#include "browser/HostLink.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace tarvo {

HostLink::HostLink() {
    m_output = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
}

/// Answers whether more may come.
bool HostLink::readSome(const std::function<bool(std::string_view line)>& take) {
    std::array<char, 16 * 1024> bytes;
    const ssize_t count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
    if (count < 0)
        return errno == EINTR || errno == EAGAIN;
    return count > 0 && m_lines.add({bytes.data(), static_cast<std::size_t>(count)}, take);
}

std::optional<StartBrowser> HostLink::waitForStart() {
    std::array<char, 1> byte{};
    std::string line;
    // Byte by byte: what follows the first line is for listen().
    while (line.size() <= kLongestBrowserLine) {
        const ssize_t count = ::read(STDIN_FILENO, byte.data(), byte.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return std::nullopt;
        if (byte[0] == '\n')
            break;
        line += byte[0];
    }
    const auto message = toBrowserOf(line);
    const auto* start = message ? std::get_if<StartBrowser>(&*message) : nullptr;
    return start && start->protocol == kBrowserProtocol ? std::optional(*start) : std::nullopt;
}

void HostLink::listen() {
    m_notifier.emplace(STDIN_FILENO, QSocketNotifier::Read);
    connect(&*m_notifier, &QSocketNotifier::activated, this, &HostLink::read);
}

void HostLink::read() {
    const bool goesOn = readSome([this](std::string_view line) {
        const auto message = toBrowserOf(line);
        if (message)
            Q_EMIT received(*message);
        return message.has_value();
    });
    if (goesOn)
        return;
    m_notifier->setEnabled(false);
    if (!std::exchange(m_hasEnded, true))
        Q_EMIT ended();
}

void HostLink::send(const FromBrowser& message) {
    const std::string line = lineOf(message);
    std::string_view rest = line;
    while (!rest.empty()) {
        const ssize_t count = ::write(m_output, rest.data(), rest.size());
        if (count < 0 && errno != EINTR)
            return; // the application is gone, which read() notices
        if (count > 0)
            rest.remove_prefix(static_cast<std::size_t>(count));
    }
}

} // namespace tarvo
