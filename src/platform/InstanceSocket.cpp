#include "platform/InstanceSocket.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <QDeadlineTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "base/Log.h"

namespace tarvo {

namespace {

constexpr std::size_t kMostVisitors = 16;
constexpr QLatin1String kOpen("open");

std::string lineOf(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString() + "\n";
}

FileHandle newSocket(int flags) {
    return FileHandle(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
}

/// None when the path is too long for a socket's address.
std::optional<sockaddr_un> addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        return std::nullopt;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

/// Waits until the socket is ready for `events`.
bool isReady(int socket, short events, const QDeadlineTimer& deadline) {
    pollfd ready{socket, events, 0};
    int result = 0;
    do
        result = ::poll(&ready, 1, static_cast<int>(deadline.remainingTime()));
    while (result < 0 && errno == EINTR);
    return result > 0;
}

} // namespace

/// Another process that has connected: what it has sent so far.
struct InstanceSocket::Visitor {
    FileHandle socket;
    std::string request;
    std::unique_ptr<QSocketNotifier> notifier;
};

InstanceSocket::InstanceSocket(std::string lockFile, std::string socketPath, Disk& disk)
    : m_lockFile(std::move(lockFile)), m_socketPath(std::move(socketPath)), m_disk(disk) {
}

InstanceSocket::~InstanceSocket() {
    if (m_listening)
        ::unlink(m_socketPath.c_str()); // before the lock goes: whoever has it next makes its own
}

std::string InstanceSocket::standardSocketPath(const std::string& lockFile) {
    const char* folder = std::getenv("XDG_RUNTIME_DIR");
    return folder && *folder == '/' ? std::string(folder) + "/tarvo/instance" : lockFile + ".socket";
}

Result<bool> InstanceSocket::claim(Handler handler) {
    if (auto made = m_disk.makeFolders(folderOf(m_lockFile)); !made)
        return failure(made.error());
    auto lock = m_disk.openOrCreate(m_lockFile);
    if (!lock)
        return failure(lock.error());
    if (const auto locked = m_disk.lockExclusively(lock->descriptor(), m_lockFile); !locked) {
        if (locked.error().is(ErrorDomain::Posix, EWOULDBLOCK))
            return false;
        return failure(locked.error());
    }
    m_lock = std::move(*lock);
    m_handler = std::move(handler);
    if (const auto listening = listen(); !listening) // nobody can hand over anything then; the lock holds
        Log::error("Could not listen for other starts: {}", listening.error().description);
    return true;
}

Result<void> InstanceSocket::listen() {
    if (auto made = m_disk.makeFolders(folderOf(m_socketPath)); !made)
        return made;
    const auto address = addressOf(m_socketPath);
    if (!address)
        return failure(Error::posix(ENAMETOOLONG, "listen at", m_socketPath));
    ::unlink(m_socketPath.c_str()); // of one that was killed: the lock says that nobody listens
    auto socket = newSocket(SOCK_NONBLOCK);
    const auto* generic = reinterpret_cast<const sockaddr*>(&*address);
    const mode_t mask = ::umask(0077); // nobody else may connect, from its first moment on
    const bool bound = socket && ::bind(socket.descriptor(), generic, sizeof *address) == 0;
    ::umask(mask);
    if (!bound || ::listen(socket.descriptor(), kMostVisitors) != 0)
        return failure(Error::posix(errno, "listen at", m_socketPath));
    m_listening = std::move(socket);
    m_notifier = std::make_unique<QSocketNotifier>(m_listening.descriptor(), QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &InstanceSocket::accept);
    return {};
}

void InstanceSocket::accept() {
    FileHandle socket(::accept4(m_listening.descriptor(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!socket || m_visitors.size() >= kMostVisitors)
        return;
    const int descriptor = socket.descriptor();
    auto visitor = std::make_unique<Visitor>();
    visitor->socket = std::move(socket);
    visitor->notifier = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read);
    connect(visitor->notifier.get(), &QSocketNotifier::activated, this,
            [this, descriptor] { read(descriptor); });
    m_visitors[descriptor] = std::move(visitor);
}

void InstanceSocket::read(int descriptor) {
    const auto found = m_visitors.find(descriptor);
    if (found == m_visitors.end())
        return;
    Visitor& visitor = *found->second;
    char bytes[65536];
    const ssize_t count = ::read(descriptor, bytes, sizeof bytes);
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (count > 0)
        visitor.request.append(bytes, static_cast<std::size_t>(count));
    const bool isWhole = visitor.request.ends_with('\n');
    if (count > 0 && !isWhole && visitor.request.size() <= kMostBytes)
        return;
    if (isWhole && visitor.request.size() <= kMostBytes) {
        const auto request = QJsonDocument::fromJson(QByteArray::fromStdString(visitor.request)).object();
        const std::string answer = lineOf(m_handler(request));
        [[maybe_unused]] const auto sent =
            ::send(descriptor, answer.data(), answer.size(), MSG_NOSIGNAL); // short; it fits
    }
    // Not while its own notifier is calling.
    visitor.notifier->setEnabled(false);
    visitor.notifier.release()->deleteLater();
    m_visitors.erase(found);
}

Result<QJsonObject> InstanceSocket::ask(const QJsonObject& request, int limit) const {
    const QDeadlineTimer deadline(limit);
    const auto address = addressOf(m_socketPath);
    const auto failed = [&](int problem) {
        return failure(Error::posix(problem, "ask the running program at", m_socketPath));
    };
    if (!address)
        return failed(ENAMETOOLONG);
    const auto socket = newSocket(0);
    const auto* generic = reinterpret_cast<const sockaddr*>(&*address);
    if (!socket || ::connect(socket.descriptor(), generic, sizeof *address) != 0)
        return failed(errno);
    const std::string line = lineOf(request);
    for (std::size_t sent = 0; sent < line.size();) {
        if (!isReady(socket.descriptor(), POLLOUT, deadline))
            return failed(ETIMEDOUT);
        const ssize_t count =
            ::send(socket.descriptor(), line.data() + sent, line.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0 && errno != EAGAIN && errno != EINTR)
            return failed(errno);
        sent += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    std::string answer;
    while (!answer.ends_with('\n')) {
        char bytes[4096];
        if (!isReady(socket.descriptor(), POLLIN, deadline))
            return failed(ETIMEDOUT);
        const ssize_t count = ::read(socket.descriptor(), bytes, sizeof bytes);
        if (count <= 0)
            return failed(count == 0 ? ECONNRESET : errno);
        answer.append(bytes, static_cast<std::size_t>(count));
    }
    return QJsonDocument::fromJson(QByteArray::fromStdString(answer)).object();
}

Result<void> InstanceSocket::handOver(const std::vector<std::string>& what) const {
    QJsonArray open;
    for (const auto& text : what)
        open.append(QString::fromStdString(text));
    const auto answer = ask({{kOpen, open}});
    return answer ? Result<void>() : failure(answer.error());
}

std::vector<std::string> InstanceSocket::handedOver(const QJsonObject& request) {
    std::vector<std::string> what;
    for (const auto& text : request[kOpen].toArray())
        what.push_back(text.toString().toStdString());
    return what;
}

} // namespace tarvo
