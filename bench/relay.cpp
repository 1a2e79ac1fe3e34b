// Stands between a program and a server: lets each connection have so many bytes a second, some fewer, or is
// as far away as it is told.
//
// Usage: tarvo-relay PORT RATE SLOW_RATE EVERY, or tarvo-relay PORT ROUND_TRIP. Relays to 127.0.0.1:PORT;
// RATE and SLOW_RATE are bytes per second towards the program. Connections are counted from 1 whenever none
// is open: the one in the middle of each EVERY has SLOW_RATE. With a ROUND_TRIP, in milliseconds, half of it
// passes in each direction, at any rate, and a new connection takes one before its first bytes go their way.
// Prints the port that it listens on, and runs until it is ended.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

std::atomic<int> openConnections{0};

sockaddr_in loopback(int port) {
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(static_cast<std::uint16_t>(port));
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return place;
}

bool sendAll(int socket, const char* bytes, ssize_t count) {
    while (count > 0) {
        const ssize_t sent = ::send(socket, bytes, static_cast<std::size_t>(count), MSG_NOSIGNAL);
        if (sent <= 0)
            return false;
        bytes += sent;
        count -= sent;
    }
    return true;
}

/// Passes bytes on until one of the two has ended, and ends both; at `rate` bytes per second, 0: no limit.
void pass(int from, int to, double rate) {
    // Small pieces: what is limited comes as evenly as from a line, in some hundred pieces a second.
    std::vector<char> buffer(rate > 0 ? static_cast<std::size_t>(std::clamp(rate / 200, 1024., 65536.))
                                      : 65536);
    auto due = Clock::now();
    while (true) {
        const ssize_t count = ::recv(from, buffer.data(), buffer.size(), 0);
        if (count <= 0)
            break;
        if (rate > 0) {
            const std::chrono::duration<double> takes(static_cast<double>(count) / rate);
            // What was not used is lost, but for what a late wake-up of this thread has cost.
            due = std::max(due, Clock::now() - std::chrono::milliseconds(20)) +
                  std::chrono::duration_cast<Clock::duration>(takes);
            std::this_thread::sleep_until(due);
        }
        if (!sendAll(to, buffer.data(), count))
            break;
    }
    ::shutdown(from, SHUT_RDWR);
    ::shutdown(to, SHUT_RDWR);
}

/// One direction of a long line: what goes in comes out some time later, however much it is.
class Line {
public:
    /// Nothing comes out before `opensAt`.
    Line(Clock::duration length, Clock::time_point opensAt) : m_length(length), m_opensAt(opensAt) {}

    /// Returns when one of the two sockets has ended, and ends both.
    void pass(int from, int to) {
        std::thread exit([&] { deliver(to); });
        ssize_t count = 0;
        do {
            std::vector<char> bytes(65536);
            count = ::recv(from, bytes.data(), bytes.size(), 0);
            bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0))); // the last one is empty
            std::lock_guard lock(m_mutex);
            m_underWay.push_back({std::max(Clock::now() + m_length, m_opensAt), std::move(bytes)});
            m_changed.notify_one();
        } while (count > 0);
        exit.join();
        ::shutdown(from, SHUT_RDWR);
    }

private:
    struct Piece {
        Clock::time_point due;
        std::vector<char> bytes;
    };

    void deliver(int to) {
        bool goesOn = true;
        while (goesOn) {
            std::unique_lock lock(m_mutex);
            m_changed.wait(lock, [this] { return !m_underWay.empty(); });
            const Piece piece = std::move(m_underWay.front());
            m_underWay.pop_front();
            lock.unlock();
            std::this_thread::sleep_until(piece.due);
            goesOn = !piece.bytes.empty() && sendAll(to, piece.bytes.data(), std::ssize(piece.bytes));
        }
        ::shutdown(to, SHUT_RDWR);
    }

    const Clock::duration m_length;
    const Clock::time_point m_opensAt;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Piece> m_underWay;
};

/// What a connection is like.
struct Service {
    double rate = 0;             // bytes per second towards the program; 0: no limit
    Clock::duration roundTrip{}; // 0: none
};

void passBoth(int client, int server, const Service& service) {
    if (service.roundTrip.count() == 0) {
        std::thread requests(pass, client, server, 0);
        pass(server, client, service.rate);
        requests.join();
        return;
    }
    // The kernel has accepted at once. On a long line the program hears of that after a round trip, and what
    // it sends then is there half of one later.
    const auto accepted = Clock::now();
    Line there(service.roundTrip / 2, accepted + service.roundTrip * 3 / 2);
    Line back(service.roundTrip / 2, accepted);
    std::thread requests([&] { there.pass(client, server); });
    back.pass(server, client);
    requests.join();
}

void serve(int client, int port, Service service) {
    const int server = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in place = loopback(port);
    if (::connect(server, reinterpret_cast<const sockaddr*>(&place), sizeof place) == 0) {
        const int yes = 1;
        for (const int each : {client, server})
            ::setsockopt(each, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
        passBoth(client, server, service);
    }
    ::close(server);
    ::close(client);
    --openConnections;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 5 && count != 3) {
        std::fputs("usage: tarvo-relay PORT RATE SLOW_RATE EVERY | tarvo-relay PORT ROUND_TRIP\n", stderr);
        return 2;
    }
    const int port = std::atoi(arguments[1]);
    const std::chrono::milliseconds roundTrip(count == 3 ? std::atoi(arguments[2]) : 0);
    const double rate = count == 5 ? std::atof(arguments[2]) : 0;
    const double slowRate = count == 5 ? std::atof(arguments[3]) : 0;
    const int every = count == 5 ? std::max(std::atoi(arguments[4]), 1) : 1;
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in place = loopback(0);
    socklen_t size = sizeof place;
    if (::bind(listener, reinterpret_cast<sockaddr*>(&place), size) != 0 || ::listen(listener, 256) != 0 ||
        ::getsockname(listener, reinterpret_cast<sockaddr*>(&place), &size) != 0) {
        std::perror("tarvo-relay");
        return 1;
    }
    std::printf("%d\n", ntohs(place.sin_port));
    std::fflush(stdout);
    for (int number = 0; true;) {
        const int client = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0)
            continue;
        number = openConnections++ == 0 ? 1 : number + 1;
        const Service service{number % every == every / 2 ? slowRate : rate, roundTrip};
        std::thread(serve, client, port, service).detach();
    }
}
