#include "platform/InstanceSocket.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <QDeadlineTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QPointer>
#include <QTimer>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "base/Log.h"

namespace tarvo {

namespace {

constexpr int kFullPauseMs = 1000;
constexpr int kMostAtOnce = 500; // addresses in one request, so that it is answered soon
constexpr std::size_t kRequestBytes = std::size_t{1} << 20;
constexpr QLatin1String kOpen("open");
constexpr QLatin1String kOutcomes("outcomes");
constexpr QLatin1String kOutcome("outcome");
constexpr QLatin1String kError("error");
constexpr QLatin1String kDomain("domain");
constexpr QLatin1String kCode("code");

struct OutcomeName {
    AddOutcome::Kind kind;
    QLatin1String name;
};

constexpr std::array<OutcomeName, 4> kOutcomeNames{{
    {AddOutcome::Kind::taken, QLatin1String("taken")},
    {AddOutcome::Kind::alreadyThere, QLatin1String("already-there")},
    {AddOutcome::Kind::noLink, QLatin1String("no-link")},
    {AddOutcome::Kind::refused, QLatin1String("refused")},
}};

std::optional<AddOutcome> outcomeIn(const QJsonObject& object) {
    const QString name = object[kOutcome].toString();
    const auto* found = std::find_if(kOutcomeNames.begin(), kOutcomeNames.end(),
                                     [&](const OutcomeName& each) { return each.name == name; });
    if (found == kOutcomeNames.end())
        return std::nullopt;
    AddOutcome outcome{found->kind};
    if (outcome.kind == AddOutcome::Kind::refused)
        outcome.error = Error{object[kDomain].toString().toStdString(), object[kCode].toInteger(),
                              object[kError].toString().toStdString(), ""};
    return outcome;
}

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

/// Another process that has connected: what it has sent so far, then what is to be sent to it.
class InstanceSocket::Visitor final : public QObject {
public:
    Visitor(FileHandle socket, std::function<void(const std::string& request)> heard,
            std::function<void()> leaves)
        : m_heard(std::move(heard)), m_leaves(std::move(leaves)), m_socket(std::move(socket)),
          m_canRead(m_socket.descriptor(), QSocketNotifier::Read),
          m_canWrite(m_socket.descriptor(), QSocketNotifier::Write) {
        m_canWrite.setEnabled(false);
        m_limit.setSingleShot(true);
        connect(&m_canRead, &QSocketNotifier::activated, this, &Visitor::read);
        connect(&m_canWrite, &QSocketNotifier::activated, this, &Visitor::write);
        connect(&m_limit, &QTimer::timeout, this, m_leaves);
        m_limit.start(kVisitMs);
    }

    void answer(const std::string& line) {
        m_text = line;
        m_limit.start(kVisitMs);
        write();
    }

private:
    void read() {
        char bytes[65536];
        const ssize_t count = ::read(m_socket.descriptor(), bytes, sizeof bytes);
        if (count < 0 && (errno == EAGAIN || errno == EINTR))
            return;
        if (count <= 0 || m_text.size() + static_cast<std::size_t>(count) > kMostBytes)
            return m_leaves();
        m_text.append(bytes, static_cast<std::size_t>(count));
        if (!m_text.ends_with('\n'))
            return;
        m_canRead.setEnabled(false);
        m_limit.stop(); // from here on it waits for this program
        m_heard(m_text);
    }

    void write() {
        const ssize_t count =
            ::send(m_socket.descriptor(), m_text.data(), m_text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0 && errno != EAGAIN && errno != EINTR)
            return m_leaves();
        m_text.erase(0, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        if (m_text.empty())
            return m_leaves();
        m_canWrite.setEnabled(true);
    }

    const std::function<void(const std::string&)> m_heard;
    const std::function<void()> m_leaves;
    const FileHandle m_socket;
    std::string m_text;
    QSocketNotifier m_canRead;
    QSocketNotifier m_canWrite;
    QTimer m_limit;
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
    if (m_visitors.size() >= kMostVisitors)
        return m_notifier->setEnabled(false); // until one has left
    FileHandle socket(::accept4(m_listening.descriptor(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!socket && (errno == EMFILE || errno == ENFILE)) { // it stays in line, and would be told of for ever
        m_notifier->setEnabled(false);
        QTimer::singleShot(kFullPauseMs, m_notifier.get(), [this] { m_notifier->setEnabled(true); });
    }
    if (!socket)
        return;
    const std::uint64_t number = ++m_lastNumber;
    m_visitors[number] = std::make_unique<Visitor>(
        std::move(socket), [this, number](const std::string& request) { hear(number, request); },
        [this, number] { dismiss(number); });
}

void InstanceSocket::hear(std::uint64_t number, const std::string& request) {
    const auto object = QJsonDocument::fromJson(QByteArray::fromStdString(request)).object();
    m_handler(object, [socket = QPointer(this), number](const QJsonObject& answer) {
        const auto visitor = socket ? socket->m_visitors.find(number) : decltype(m_visitors)::iterator();
        if (socket && visitor != socket->m_visitors.end())
            visitor->second->answer(lineOf(answer));
    });
}

void InstanceSocket::dismiss(std::uint64_t number) {
    const auto visitor = m_visitors.extract(number);
    if (visitor)
        visitor.mapped().release()->deleteLater(); // it is what calls
    m_notifier->setEnabled(true);
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
    const timeval most{limit / 1000, limit % 1000 * 1000};
    ::setsockopt(socket.descriptor(), SOL_SOCKET, SO_SNDTIMEO, &most, sizeof most); // of a long line, too
    const auto* generic = reinterpret_cast<const sockaddr*>(&*address);
    if (!socket || ::connect(socket.descriptor(), generic, sizeof *address) != 0)
        return failed(errno == EAGAIN ? ETIMEDOUT : errno);
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

Result<std::vector<AddOutcome>> InstanceSocket::handOver(const std::vector<std::string>& what) const {
    std::vector<AddOutcome> outcomes;
    auto next = what.begin();
    do {
        QJsonArray open;
        for (std::size_t bytes = 0; next != what.end() && open.size() < kMostAtOnce && bytes < kRequestBytes;
             ++next) {
            open.append(QString::fromStdString(*next));
            bytes += next->size();
        }
        const auto answer = ask({{kOpen, open}});
        if (!answer)
            return failure(answer.error());
        const QJsonArray told = (*answer)[kOutcomes].toArray();
        if (told.size() != open.size())
            return failure(Error::posix(EPROTO, "ask the running program at", m_socketPath));
        for (const auto& each : told)
            outcomes.push_back(outcomeIn(each.toObject()).value_or(AddOutcome{AddOutcome::Kind::noLink}));
    } while (next != what.end());
    return outcomes;
}

std::optional<std::vector<std::string>> InstanceSocket::handedOver(const QJsonObject& request) {
    if (!request[kOpen].isArray())
        return std::nullopt;
    std::vector<std::string> what;
    const QJsonArray texts = request[kOpen].toArray();
    for (const auto& text : texts)
        what.push_back(text.toString().toStdString());
    return what;
}

QJsonObject InstanceSocket::answerOf(const std::vector<AddOutcome>& outcomes) {
    QJsonArray all;
    for (const auto& outcome : outcomes) {
        QJsonObject object{{kOutcome, kOutcomeNames[static_cast<std::size_t>(outcome.kind)].name}};
        if (outcome.error) {
            object[kError] = QString::fromStdString(outcome.error->sentence());
            object[kDomain] = QString::fromStdString(outcome.error->domain);
            object[kCode] = static_cast<qint64>(outcome.error->code);
        }
        all.append(object);
    }
    return {{kOutcomes, all}};
}

} // namespace tarvo
