#include "engine/transfer/ConnectionPool.h"

#include "base/Log.h"

#include <curl/curl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tarvo {

namespace {

// Not fewer than one job opens: libcurl would close what the next job could use (CURLMOPT_MAXCONNECTS).
constexpr long kMostConnections = 64;

} // namespace

struct ConnectionPool::Callbacks {
    static curl_socket_t onOpen(void* pool, curlsocktype, curl_sockaddr* address) {
        const int socket = ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
        if (socket < 0)
            return CURL_SOCKET_BAD;
        static_cast<ConnectionPool*>(pool)->m_sockets.push_back(socket);
        return socket;
    }

    static int onClose(void* pool, curl_socket_t socket) {
        std::erase(static_cast<ConnectionPool*>(pool)->m_sockets, socket);
        return ::close(socket);
    }
};

ConnectionPool::ConnectionPool() : m_multi(curl_multi_init()) {
    Log::assertThat(m_multi != nullptr, "curl_multi_init");
    curl_multi_setopt(m_multi, CURLMOPT_PIPELINING, static_cast<long>(CURLPIPE_NOTHING));
    curl_multi_setopt(m_multi, CURLMOPT_MAXCONNECTS, kMostConnections);
}

ConnectionPool::~ConnectionPool() {
    // libcurl takes leave of FTP and SSH servers and would wait minutes for the answer of a silent one.
    for (const int socket : m_sockets)
        ::shutdown(socket, SHUT_RDWR);
    curl_multi_cleanup(m_multi);
}

void ConnectionPool::add(void* easyHandle) {
    curl_easy_setopt(easyHandle, CURLOPT_OPENSOCKETFUNCTION, &Callbacks::onOpen);
    curl_easy_setopt(easyHandle, CURLOPT_OPENSOCKETDATA, this);
    curl_easy_setopt(easyHandle, CURLOPT_CLOSESOCKETFUNCTION, &Callbacks::onClose);
    curl_easy_setopt(easyHandle, CURLOPT_CLOSESOCKETDATA, this);
    curl_multi_add_handle(m_multi, easyHandle);
}

void ConnectionPool::remove(void* easyHandle) {
    curl_multi_remove_handle(m_multi, easyHandle);
}

void ConnectionPool::wait(std::chrono::milliseconds limit) {
    curl_multi_poll(m_multi, nullptr, 0, static_cast<int>(limit.count()), nullptr);
}

void ConnectionPool::wakeup() {
    curl_multi_wakeup(m_multi);
}

} // namespace tarvo
