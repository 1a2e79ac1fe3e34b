#include "platform/InstanceSocket.h"

#include <cerrno>
#include <cstdlib>

#include <QPointer>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/Log.h"
#include "base/Runloop.h"
#include "platform/HandOver.h"
#include "platform/LocalSocket.h"

namespace tarvo {

namespace {

constexpr int kFullPauseMs = 1000;

} // namespace

InstanceSocket::InstanceSocket(std::string lockFile, std::string socketPath, Disk& disk)
    : m_lockFile(std::move(lockFile)), m_socketPath(std::move(socketPath)), m_disk(disk) {
}

InstanceSocket::~InstanceSocket() {
    if (m_listening)
        ::unlink(m_socketPath.c_str()); // before the lock goes: its next holder makes another
}

std::string InstanceSocket::standardSocketPath(const std::string& lockFile) {
    const char* folder = std::getenv("XDG_RUNTIME_DIR");
    return folder && *folder == '/' ? std::string(folder) + "/tarvo/instance" : lockFile + ".socket";
}

Result<bool> InstanceSocket::claim(Handler handler) {
    Runloop::assertMain();
    if (auto made = m_disk.makeFolders(folderOf(m_lockFile)); !made)
        return failure(made.error());
    auto lock = m_disk.openLocked(m_lockFile, std::chrono::milliseconds(0));
    if (!lock && lock.error().is(ErrorDomain::Posix, EWOULDBLOCK))
        return false;
    if (!lock)
        return failure(lock.error());
    m_lock = std::move(*lock);
    m_handler = std::move(handler);
    if (const auto listening = listen(); !listening) // nothing can be handed over then; the lock holds
        Log::error("Could not listen for other starts: {}", listening.error().description);
    return true;
}

Result<void> InstanceSocket::listen() {
    if (auto made = m_disk.makeFolders(folderOf(m_socketPath)); !made)
        return made;
    const auto address = localAddress(m_socketPath);
    if (!address)
        return failure(Error::posix(ENAMETOOLONG, "listen at", m_socketPath));
    ::unlink(m_socketPath.c_str()); // of one that was killed: the lock says that it no longer listens
    auto socket = newLocalSocket(SOCK_NONBLOCK);
    const mode_t mask = ::umask(0077); // no other user may connect, from its first moment on
    const bool bound = socket && ::bind(socket.descriptor(), generic(*address), sizeof *address) == 0;
    ::umask(mask);
    if (!bound || ::listen(socket.descriptor(), kMostVisitors) != 0)
        return failure(Error::posix(errno, "listen at", m_socketPath));
    m_listening = std::move(socket);
    m_notifier = std::make_unique<QSocketNotifier>(m_listening.descriptor(), QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &InstanceSocket::accept);
    m_fullPause.setSingleShot(true);
    connect(&m_fullPause, &QTimer::timeout, this, [this] { m_notifier->setEnabled(true); });
    return {};
}

void InstanceSocket::accept() {
    Runloop::assertMain();
    if (m_visitors.size() >= kMostVisitors)
        return m_notifier->setEnabled(false); // until one has left
    FileHandle socket(::accept4(m_listening.descriptor(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!socket && (errno == EMFILE || errno == ENFILE)) { // it stays in line, and would be told of for ever
        m_notifier->setEnabled(false);
        m_fullPause.start(kFullPauseMs);
    }
    if (!socket)
        return;
    const std::uint64_t number = ++m_lastNumber;
    m_visitors[number] = std::make_unique<InstanceVisitor>(
        std::move(socket), [this, number](const std::string& request) { hear(number, request); },
        [this, number] { dismiss(number); });
}

void InstanceSocket::hear(std::uint64_t number, const std::string& request) {
    Runloop::assertMain();
    m_handler(HandOver::messageIn(request), [socket = QPointer(this), number](const QJsonObject& answer) {
        const auto visitor = socket ? socket->m_visitors.find(number) : decltype(m_visitors)::iterator();
        if (socket && visitor != socket->m_visitors.end())
            visitor->second->answer(HandOver::lineOf(answer));
    });
}

void InstanceSocket::dismiss(std::uint64_t number) {
    Runloop::assertMain();
    const auto visitor = m_visitors.extract(number);
    if (visitor)
        visitor.mapped().release()->deleteLater(); // it is what calls
    m_notifier->setEnabled(true);
}

} // namespace tarvo
