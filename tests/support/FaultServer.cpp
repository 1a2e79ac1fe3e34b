// Sockets, threads and books of the fault server; what to answer is HttpAnswer's business.
#include "support/FaultServer.h"

#include "support/SampleData.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <spdlog/fmt/fmt.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tarvo::test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kLongestHead = 16'384;
constexpr std::int64_t kBlock = 262'144;

bool sendAll(int socket, std::string_view bytes, int flags = 0) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL | flags);
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

/// Waits, at most until `end`, whether the peer goes away or the server stops: true when either did.
bool isGoneBy(int socket, Clock::time_point end) {
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        pollfd watched{socket, POLLRDHUP, 0};
        const int happened = ::poll(&watched, 1, static_cast<int>(std::clamp<std::int64_t>(left, 0, 60'000)));
        if (happened > 0)
            return true;
        if (left <= 0)
            return false;
    }
}

/// Sends nothing more, for as long as anybody listens.
void fallSilent(int socket) {
    while (!isGoneBy(socket, Clock::now() + std::chrono::hours(1))) {
    }
}

/// The head of the next request, without its empty line; what follows it stays in `buffer`.
std::optional<std::string> readHead(int socket, std::string& buffer) {
    std::array<char, 4096> piece;
    std::size_t end = 0;
    while ((end = buffer.find("\r\n\r\n")) == std::string::npos) {
        const ssize_t count = ::recv(socket, piece.data(), piece.size(), 0);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0 || buffer.size() > kLongestHead)
            return std::nullopt;
        buffer.append(piece.data(), static_cast<std::size_t>(count));
    }
    std::string head = buffer.substr(0, end + 2);
    buffer.erase(0, end + 4);
    return head;
}

/// The size in /file/SIZE/NAME.
std::optional<std::int64_t> sizeIn(std::string_view path) {
    constexpr std::string_view prefix = "/file/";
    if (!path.starts_with(prefix))
        return std::nullopt;
    path.remove_prefix(prefix.size());
    std::int64_t size = 0;
    const auto [end, problem] = std::from_chars(path.data(), path.data() + path.size(), size);
    if (problem != std::errc() || size < 0 || end == path.data() + path.size() || *end != '/')
        return std::nullopt;
    return size;
}

} // namespace

/// The body of one answer on its way, with the faults that show while it flows. Counts as a running transfer
/// of its path for as long as it lives.
class FaultServer::Transfer {
public:
    Transfer(FaultServer& server, int socket, const HttpRequest& request, const FaultKnobs& knobs)
        : m_server(server), m_socket(socket), m_path(request.path), m_knobs(knobs) {
        auto books = m_server.m_books.lock();
        std::int64_t& active = books->paths[m_path].active;
        m_runs = active < knobs.connections.value_or(active + 1);
        active += m_runs ? 1 : 0;
    }

    ~Transfer() { leave(); }

    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    /// False when as many as the knob "connections" allows were there before.
    bool mayRun() const { return m_runs; }

    /// Sends the body; false when the connection must end.
    bool run(const HttpAnswer& answer) {
        const bool isChunked = answer.framing == HttpAnswer::Framing::chunked;
        const std::int64_t length = answer.length + m_knobs.overrun.value_or(0);
        const std::int64_t cut = std::min(length, m_knobs.cut.value_or(length));
        const bool stalls = m_knobs.stall.value_or(cut) < cut;
        const std::int64_t end = stalls ? *m_knobs.stall : cut;
        const Clock::time_point begin = Clock::now();
        std::vector<char> buffer(static_cast<std::size_t>(std::min(end, pieceSize())));
        for (std::int64_t sent = 0; sent < end;) {
            const std::int64_t count = std::min(end - sent, static_cast<std::int64_t>(buffer.size()));
            const std::span<char> bytes(buffer.data(), static_cast<std::size_t>(count));
            if (m_knobs.rate && isGoneBy(m_socket, begin + timeFor(sent + count)))
                return false;
            fillSample(answer.offset + sent, bytes);
            sent += count;
            const bool isCutHere = account(count);
            if (sent == end && !stalls)
                leave();
            if (!sendPiece({bytes.data(), bytes.size()}, isChunked) || isCutHere)
                return false;
        }
        if (stalls)
            fallSilent(m_socket);
        if (end < length)
            return false;
        return (!isChunked || sendAll(m_socket, "0\r\n\r\n")) &&
               answer.framing != HttpAnswer::Framing::untilClose && !m_knobs.overrun;
    }

private:
    /// Small enough to come to the point where a fault is due, and for a steady flow where there is a rate.
    std::int64_t pieceSize() const {
        const std::int64_t smoothPiece = std::max<std::int64_t>(1, m_knobs.rate.value_or(kBlock * 100) / 100);
        return std::min({kBlock, smoothPiece, m_knobs.cutevery.value_or(kBlock)});
    }

    Clock::duration timeFor(std::int64_t bytes) const {
        return std::chrono::duration_cast<Clock::duration>(
            std::chrono::duration<double>(static_cast<double>(bytes) / static_cast<double>(*m_knobs.rate)));
    }

    bool sendPiece(std::string_view bytes, bool isChunked) {
        if (!isChunked)
            return sendAll(m_socket, bytes);
        return sendAll(m_socket, fmt::format("{:x}\r\n", bytes.size()), MSG_MORE) &&
               sendAll(m_socket, bytes, MSG_MORE) && sendAll(m_socket, "\r\n");
    }

    /// Counts what is about to be sent, so that whoever has received it finds it counted. True when the knob
    /// "cutevery" is due after it.
    bool account(std::int64_t count) {
        auto books = m_server.m_books.lock();
        std::int64_t& sent = books->paths[m_path].sent;
        sent += count;
        return m_knobs.cutevery && sent / *m_knobs.cutevery != (sent - count) / *m_knobs.cutevery;
    }

    /// No longer counts as running: before the last piece goes out, so that whoever has received it may come
    /// back at once for the next.
    void leave() {
        if (m_runs)
            --m_server.m_books.lock()->paths[m_path].active;
        m_runs = false;
    }

    FaultServer& m_server;
    int m_socket;
    std::string m_path;
    const FaultKnobs& m_knobs;
    bool m_runs = false;
};

FaultServer::FaultServer() {
    start();
}

FaultServer::~FaultServer() {
    stop();
}

void FaultServer::start() {
    m_stopping = false;
    m_listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int yes = 1;
    ::setsockopt(m_listener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(static_cast<std::uint16_t>(m_port));
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof place;
    if (::bind(m_listener, reinterpret_cast<sockaddr*>(&place), size) != 0 ||
        ::listen(m_listener, 1024) != 0) {
        noteProblem(fmt::format("can't listen on port {}: {}", m_port, std::strerror(errno)));
        return;
    }
    ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&place), &size);
    m_port = ntohs(place.sin_port);
    m_acceptor = std::thread([this] { acceptConnections(); });
}

void FaultServer::stop() {
    m_stopping = true;
    ::shutdown(m_listener, SHUT_RDWR);
    if (m_acceptor.joinable())
        m_acceptor.join();
    if (m_listener >= 0)
        ::close(m_listener);
    m_listener = -1;
    std::list<Connection> connections;
    {
        auto all = m_connections.lock();
        for (const Connection& connection : *all)
            if (!connection.ended)
                ::shutdown(connection.socket, SHUT_RDWR);
        connections.splice(connections.end(), *all);
    }
    for (Connection& connection : connections)
        connection.thread.join();
}

void FaultServer::acceptConnections() {
    while (!m_stopping) {
        const int socket = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket >= 0)
            admit(socket);
    }
}

void FaultServer::admit(int socket) {
    const int yes = 1;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    std::list<Connection> ended;
    {
        auto all = m_connections.lock();
        for (auto it = all->begin(); it != all->end();) {
            const auto connection = it++;
            if (connection->ended)
                ended.splice(ended.end(), *all, connection);
        }
        Connection& connection = all->emplace_back();
        connection.socket = socket;
        connection.number = ++m_connectionCount;
        connection.thread = std::thread([this, &connection, socket, number = connection.number] {
            serve(socket, number);
            auto guard = m_connections.lock();
            ::close(socket);
            connection.ended = true;
        });
    }
    for (Connection& connection : ended)
        connection.thread.join();
}

void FaultServer::serve(int socket, int number) {
    std::string buffer;
    bool goesOn = true;
    while (goesOn) {
        const auto head = readHead(socket, buffer);
        if (!head)
            return;
        auto request = parseRequest(*head);
        if (!request) {
            noteProblem("no request: " + *head);
            sendAll(socket, textAnswer(400, "That is no request").head());
            return;
        }
        request->connection = number;
        m_books.lock()->requests.push_back(*request);
        goesOn = answer(socket, *request) && request->header("connection") != "close";
    }
}

bool FaultServer::answer(int socket, const HttpRequest& request) {
    const auto size = sizeIn(request.path);
    if (!size)
        return send(socket, request, textAnswer(404, "There is no such thing"));
    if (request.method != "GET" && request.method != "HEAD")
        return send(socket, request, textAnswer(405, "Only GET and HEAD")) && false;
    std::string problem;
    const FaultKnobs knobs = knobsOf(request, problem);
    if (!problem.empty()) {
        noteProblem(problem);
        return send(socket, request, textAnswer(400, problem));
    }
    if (knobs.delay && isGoneBy(socket, Clock::now() + std::chrono::milliseconds(*knobs.delay)))
        return false;
    if (const auto redirect = redirectAnswer(request, knobs))
        return send(socket, request, *redirect);
    if (const auto challenge = challengeAnswer(request, knobs))
        return send(socket, request, *challenge);
    return answerFile(socket, request, knobs, *size);
}

bool FaultServer::answerFile(int socket, const HttpRequest& request, const FaultKnobs& urlKnobs,
                             std::int64_t size) {
    const std::int64_t number = ++m_books.lock()->paths[request.path].asked;
    const FaultKnobs knobs = urlKnobs.at(number, request.isProbe());
    if (knobs.reset) {
        const linger atOnce{1, 0}; // close() sends the reset
        ::setsockopt(socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
        return false;
    }
    if (knobs.silent) {
        fallSilent(socket);
        return false;
    }
    if (knobs.status)
        return send(socket, request, textAnswer(static_cast<int>(*knobs.status), "As you asked for"));
    const HttpAnswer answer = fileAnswer(request, knobs, size);
    if (!answer.isFile || request.method == "HEAD")
        return send(socket, request, answer) && answer.framing != HttpAnswer::Framing::untilClose;
    Transfer transfer(*this, socket, request, knobs);
    if (!transfer.mayRun())
        return send(socket, request, textAnswer(503, "Too many at once"));
    return sendAll(socket, answer.head()) && transfer.run(answer);
}

bool FaultServer::send(int socket, const HttpRequest& request, const HttpAnswer& answer) {
    const bool hasBody = request.method != "HEAD" && !answer.isFile;
    return sendAll(socket, answer.head() + (hasBody ? answer.text : ""));
}

FaultKnobs FaultServer::knobsOf(const HttpRequest& request, std::string& problem) {
    const auto changed = m_books.lock()->paths[request.path].changedKnobs;
    FaultKnobs knobs;
    problem = readKnobs(changed.value_or(request.query), knobs).value_or("");
    return knobs;
}

void FaultServer::noteProblem(std::string problem) {
    m_books.lock()->problems.push_back(std::move(problem));
}

std::string FaultServer::address(std::string_view path) const {
    return fmt::format("http://127.0.0.1:{}{}", m_port, path);
}

std::string FaultServer::url(std::int64_t size, std::string_view knobs, std::string_view name) const {
    return address(fmt::format("/file/{}/{}{}{}", size, name, knobs.empty() ? "" : "?", knobs));
}

void FaultServer::change(std::string_view path, std::string_view knobs) {
    m_books.lock()->paths[std::string(path)].changedKnobs = knobs;
}

std::vector<HttpRequest> FaultServer::requests() const {
    return m_books.lock()->requests;
}

std::int64_t FaultServer::bytesSent() const {
    std::int64_t sum = 0;
    auto books = m_books.lock();
    for (const auto& [path, state] : books->paths)
        sum += state.sent;
    return sum;
}

std::int64_t FaultServer::bytesSent(std::string_view path) const {
    auto books = m_books.lock();
    const auto found = books->paths.find(path);
    return found == books->paths.end() ? 0 : found->second.sent;
}

std::vector<std::string> FaultServer::problems() const {
    return m_books.lock()->problems;
}

} // namespace tarvo::test
