// Stands between a program and a server, and lets each connection have so many bytes a second, some fewer.
//
// Usage: tarvo-relay PORT RATE SLOW_RATE EVERY. Relays to 127.0.0.1:PORT; RATE and SLOW_RATE are bytes per
// second towards the program. Connections are counted from 1 whenever none is open: the one in the middle of
// each EVERY has SLOW_RATE. Prints the port that it listens on, and runs until it is ended.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
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

void serve(int client, int port, double rate) {
    const int server = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in place = loopback(port);
    if (::connect(server, reinterpret_cast<const sockaddr*>(&place), sizeof place) == 0) {
        const int yes = 1;
        for (const int each : {client, server})
            ::setsockopt(each, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
        std::thread requests(pass, client, server, 0);
        pass(server, client, rate);
        requests.join();
    }
    ::close(server);
    ::close(client);
    --openConnections;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 5) {
        std::fputs("usage: tarvo-relay PORT RATE SLOW_RATE EVERY\n", stderr);
        return 2;
    }
    const int port = std::atoi(arguments[1]);
    const double rate = std::atof(arguments[2]);
    const double slowRate = std::atof(arguments[3]);
    const int every = std::max(std::atoi(arguments[4]), 1);
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
        std::thread(serve, client, port, number % every == every / 2 ? slowRate : rate).detach();
    }
}
