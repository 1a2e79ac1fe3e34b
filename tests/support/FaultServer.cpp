// Sockets, threads and books of the fault server; what to answer is HttpAnswer's business.
#include "support/FaultServer.h"

#include "support/SampleData.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <regex>

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
constexpr auto kForever = std::chrono::hours(24); // or until the client has gone

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
std::optional<std::int64_t> sizeIn(const std::string& path) {
    static const std::regex form("/file/(\\d{1,18})/.*");
    std::smatch match;
    return std::regex_match(path, match, form) ? std::optional<std::int64_t>(std::stoll(match[1]))
                                               : std::nullopt;
}

bool sendPiece(int socket, std::string_view bytes, bool isChunked) {
    if (!isChunked)
        return sendAll(socket, bytes);
    return sendAll(socket, fmt::format("{:x}\r\n", bytes.size()), MSG_MORE) &&
           sendAll(socket, bytes, MSG_MORE) && sendAll(socket, "\r\n");
}

HttpAnswer refusal(int status, const FaultKnobs& knobs) {
    const auto wait = knobs.text("retryafter");
    return textAnswer(status, "As you asked for", wait ? "Retry-After: " + *wait + "\r\n" : "");
}

bool sendText(int socket, const HttpRequest& request, const HttpAnswer& answer) {
    return sendAll(socket, answer.head() + (request.method == "HEAD" ? "" : answer.text));
}

} // namespace

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
            admit(socket, ++m_connectionCount);
    }
}

void FaultServer::admit(int socket, int number) {
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
        connection.thread = std::thread([this, &connection, socket, number] {
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
        return sendText(socket, request, textAnswer(404, "There is no such thing"));
    const auto changedKnobs = m_books.lock()->paths[request.path].changedKnobs;
    FaultKnobs knobs;
    const std::string problem = knobs.read(changedKnobs.value_or(request.query));
    if (!problem.empty()) {
        noteProblem(problem);
        return sendText(socket, request, textAnswer(400, problem));
    }
    if (const auto before = answerBeforeTheFile(request, knobs))
        return sendText(socket, request, *before);
    return answerFile(socket, request, knobs, *size);
}

bool FaultServer::answerFile(int socket, const HttpRequest& request, const FaultKnobs& urlKnobs,
                             std::int64_t size) {
    const std::int64_t number = ++m_books.lock()->paths[request.path].asked;
    const FaultKnobs knobs = urlKnobs.at(number, request.isProbe());
    if (knobs.has("reset")) {
        const linger atOnce{1, 0}; // close() sends the reset
        ::setsockopt(socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
        return false;
    }
    if (knobs.has("silent")) {
        isGoneBy(socket, Clock::now() + kForever);
        return false;
    }
    if (const auto status = knobs.number("status"))
        return sendText(socket, request, refusal(static_cast<int>(*status), urlKnobs));
    const HttpAnswer answer = fileAnswer(request, knobs, size);
    if (!answer.isFile || request.method == "HEAD")
        return sendText(socket, request, answer) && !answer.endsConnection;
    return sendBodyInItsPlace(socket, request, answer, knobs);
}

bool FaultServer::sendBodyInItsPlace(int socket, const HttpRequest& request, const HttpAnswer& answer,
                                     const FaultKnobs& knobs) {
    const auto most = knobs.number("places");
    const bool isLetIn = [&] {
        auto books = m_books.lock();
        std::int64_t& atWork = books->paths[request.path].atWork;
        const bool isFree = !most || request.isProbe() || atWork < *most;
        atWork += isFree ? 1 : 0;
        return isFree;
    }();
    if (!isLetIn)
        return sendText(socket, request, refusal(503, knobs));
    Body body{answer.offset, 0, Clock::now()};
    const bool goesOn = sendAll(socket, answer.head()) && sendBody(socket, answer, knobs, body.length);
    body.ended = Clock::now();
    auto books = m_books.lock();
    --books->paths[request.path].atWork;
    if (knobs.isHonest() && !request.isProbe())
        books->bodies.push_back(body);
    return goesOn;
}

/// Sends the body with the faults that show while it flows; false when the connection must end.
bool FaultServer::sendBody(int socket, const HttpAnswer& answer, const FaultKnobs& knobs,
                           std::int64_t& sent) {
    const std::int64_t overrun = knobs.number("overrun").value_or(0);
    const std::int64_t length = answer.length + overrun;
    const std::int64_t stall = knobs.number("stall").value_or(length);
    const std::int64_t end = std::min({length, stall, knobs.number("cut").value_or(length)});
    const auto rate = knobs.number(knobs.has("slow") ? "slow" : "rate");
    const Clock::time_point begin = Clock::now();
    std::vector<char> buffer(std::clamp<std::int64_t>(rate.value_or(kBlock * 100) / 100, 1, kBlock));
    while (sent < end) {
        const std::span bytes(buffer.data(), std::min<std::size_t>(buffer.size(), end - sent));
        fillSample(answer.offset + sent, bytes, answer.version);
        sent += std::ssize(bytes);
        if (rate && isGoneBy(socket, begin + std::chrono::milliseconds(sent * 1000 / *rate)))
            return false;
        m_sent += std::ssize(bytes); // before it goes out: a client that has received it finds it counted
        if (!sendPiece(socket, {bytes.data(), bytes.size()}, answer.isChunked))
            return false;
    }
    if (end == stall && stall < length)
        isGoneBy(socket, Clock::now() + kForever);
    return end == length && (!answer.isChunked || sendAll(socket, "0\r\n\r\n")) && !answer.endsConnection &&
           overrun == 0;
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

std::vector<FaultServer::Body> FaultServer::bodies() const {
    return m_books.lock()->bodies;
}

std::vector<std::string> FaultServer::problems() const {
    return m_books.lock()->problems;
}

} // namespace tarvo::test
