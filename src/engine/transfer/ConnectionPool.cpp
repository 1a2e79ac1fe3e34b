#include "engine/transfer/ConnectionPool.h"

#include "base/Log.h"
#include "base/Settings.h"

#include <thread>
#include <utility>

#include <curl/curl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tarvo {

namespace {

CURLcode resultOf(CURLMcode code) {
    if (code == CURLM_OK)
        return CURLE_OK;
    Log::error("Transfers can't go on: {}", curl_multi_strerror(code));
    return code == CURLM_OUT_OF_MEMORY ? CURLE_OUT_OF_MEMORY : CURLE_FAILED_INIT;
}

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
    if (!m_multi)
        return; // no segment can be added
    curl_multi_setopt(m_multi, CURLMOPT_PIPELINING, static_cast<long>(CURLPIPE_NOTHING));
    // Not fewer than one job opens: libcurl would close what the next job could use (CURLMOPT_MAXCONNECTS).
    curl_multi_setopt(m_multi, CURLMOPT_MAXCONNECTS, static_cast<long>(kMostConnections));
}

ConnectionPool::~ConnectionPool() {
    breakOff();
    curl_multi_cleanup(m_multi);
}

void ConnectionPool::breakOff() {
    for (const int socket : std::exchange(m_sockets, {}))
        ::shutdown(socket, SHUT_RDWR);
}

bool ConnectionPool::add(CurlSegment& segment) {
    if (segment.errorCode() != CURLE_OK)
        return false;
    void* handle = segment.curlHandle();
    curl_easy_setopt(handle, CURLOPT_OPENSOCKETFUNCTION, &Callbacks::onOpen);
    curl_easy_setopt(handle, CURLOPT_OPENSOCKETDATA, this);
    curl_easy_setopt(handle, CURLOPT_CLOSESOCKETFUNCTION, &Callbacks::onClose);
    curl_easy_setopt(handle, CURLOPT_CLOSESOCKETDATA, this);
    segment.setErrorCode(m_multi ? resultOf(curl_multi_add_handle(m_multi, handle)) : CURLE_OUT_OF_MEMORY);
    if (segment.errorCode() != CURLE_OK)
        return false;
    segment.setPool(this);
    return true;
}

void ConnectionPool::remove(CurlSegment& segment) {
    curl_multi_remove_handle(m_multi, segment.curlHandle());
    segment.setPool(nullptr);
}

int ConnectionPool::perform(int& running) {
    ++m_turns;
    return resultOf(curl_multi_perform(m_multi, &running));
}

void ConnectionPool::wait(std::chrono::milliseconds limit) {
    if (curl_multi_poll(m_multi, nullptr, 0, static_cast<int>(limit.count()), nullptr) != CURLM_OK)
        std::this_thread::sleep_for(limit); // or the loop would spin
}

void ConnectionPool::wakeup() {
    curl_multi_wakeup(m_multi);
}

} // namespace tarvo
