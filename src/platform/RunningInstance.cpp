#include "platform/RunningInstance.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <QDeadlineTimer>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/HandOver.h"
#include "platform/LocalSocket.h"

namespace tarvo {

namespace {

constexpr int kLimitMs = 5000;
constexpr int kMostAtOnce = 500; // addresses in one request, so that it is answered soon
constexpr std::size_t kRequestBytes = std::size_t{1} << 20;

/// Waits until the socket is ready for `events`.
bool isReady(int socket, short events, const QDeadlineTimer& deadline) {
    pollfd ready{socket, events, 0};
    int result = 0;
    do
        result = ::poll(&ready, 1, static_cast<int>(deadline.remainingTime()));
    while (result < 0 && errno == EINTR);
    return result > 0;
}

/// Error: the system's number for it.
tl::expected<void, int> send(int socket, const std::string& line, const QDeadlineTimer& deadline) {
    for (std::size_t sent = 0; sent < line.size();) {
        if (!isReady(socket, POLLOUT, deadline))
            return tl::unexpected(ETIMEDOUT);
        const ssize_t count =
            ::send(socket, line.data() + sent, line.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0 && errno != EAGAIN && errno != EINTR)
            return tl::unexpected(errno);
        sent += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    return {};
}

/// Error: the system's number for it.
tl::expected<std::string, int> receive(int socket, const QDeadlineTimer& deadline) {
    std::string line;
    std::array<char, 4096> bytes{};
    while (!line.ends_with('\n')) {
        if (!isReady(socket, POLLIN, deadline))
            return tl::unexpected(ETIMEDOUT);
        const ssize_t count = ::read(socket, bytes.data(), bytes.size());
        if (count <= 0)
            return tl::unexpected(count == 0 ? ECONNRESET : errno);
        line.append(bytes.data(), static_cast<std::size_t>(count));
    }
    return line;
}

} // namespace

Result<QJsonObject> RunningInstance::ask(const QJsonObject& request) const {
    const QDeadlineTimer deadline(kLimitMs);
    const auto failed = [&](int problem) {
        return failure(Error::posix(problem, "ask the running program at", m_socketPath));
    };
    const auto address = localAddress(m_socketPath);
    if (!address)
        return failed(ENAMETOOLONG);
    const auto socket = newLocalSocket();
    const timeval most{kLimitMs / 1000, 0};
    ::setsockopt(socket.descriptor(), SOL_SOCKET, SO_SNDTIMEO, &most, sizeof most); // of a long line, too
    if (!socket || ::connect(socket.descriptor(), generic(*address), sizeof *address) != 0)
        return failed(errno == EAGAIN ? ETIMEDOUT : errno);
    if (const auto sent = send(socket.descriptor(), HandOver::lineOf(request), deadline); !sent)
        return failed(sent.error());
    const auto answer = receive(socket.descriptor(), deadline);
    if (!answer)
        return failed(answer.error());
    return HandOver::messageIn(*answer);
}

Result<std::vector<AddOutcome>> RunningInstance::handOver(const std::vector<std::string>& what,
                                                          const std::string& activationToken) const {
    std::vector<AddOutcome> outcomes;
    auto next = what.begin();
    do { // also with nothing: that the program is asked for is told as well
        QJsonArray part;
        for (std::size_t bytes = 0; next != what.end() && part.size() < kMostAtOnce && bytes < kRequestBytes;
             ++next) {
            part.append(QString::fromStdString(*next));
            bytes += next->size();
        }
        const auto answer = ask(HandOver::request(part, activationToken));
        if (!answer)
            return failure(answer.error());
        const auto told = HandOver::outcomesOf(*answer);
        if (told.size() != static_cast<std::size_t>(part.size()))
            return failure(Error::posix(EPROTO, "ask the running program at", m_socketPath));
        outcomes.insert(outcomes.end(), told.begin(), told.end());
    } while (next != what.end());
    return outcomes;
}

} // namespace tarvo
