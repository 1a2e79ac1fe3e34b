#include "engine/transfer/ConnectionPool.h"

#include "base/Log.h"
#include "base/Settings.h"

#include <thread>
#include <utility>

#include <arpa/inet.h>
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

int localPortOf(int socket) {
    sockaddr_storage place{};
    socklen_t size = sizeof place;
    if (::getsockname(socket, reinterpret_cast<sockaddr*>(&place), &size) != 0)
        return -1;
    if (place.ss_family == AF_INET6)
        return ntohs(reinterpret_cast<const sockaddr_in6*>(&place)->sin6_port);
    return ntohs(reinterpret_cast<const sockaddr_in*>(&place)->sin_port);
}

} // namespace

struct ConnectionPool::Callbacks {
    static curl_socket_t onOpen(void* user, curlsocktype, curl_sockaddr* address) {
        const int socket = ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
        if (socket < 0)
            return CURL_SOCKET_BAD;
        const auto* segment = static_cast<CurlSegment*>(user);
        segment->pool()->m_sockets.push_back({socket, segment});
        return socket;
    }

    static int onClose(void* pool, curl_socket_t socket) {
        std::erase_if(static_cast<ConnectionPool*>(pool)->m_sockets,
                      [&](const Socket& each) { return each.descriptor == socket; });
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
    m_owner.assertIsHere();
    for (const Socket& each : std::exchange(m_sockets, {}))
        ::shutdown(each.descriptor, SHUT_RDWR);
}

void ConnectionPool::breakOff(const CurlSegment& segment) {
    m_owner.assertIsHere();
    std::erase_if(m_sockets, [&](const Socket& each) {
        return each.user == &segment && ::shutdown(each.descriptor, SHUT_RDWR) <= 0;
    });
}

void ConnectionPool::noteUse(const CurlSegment& segment, int localPort) {
    for (Socket& each : m_sockets) {
        if (each.localPort <= 0) // not known yet, or not connected when it was asked for
            each.localPort = localPortOf(each.descriptor);
        if (each.localPort == localPort)
            each.user = &segment;
    }
}

bool ConnectionPool::add(CurlSegment& segment) {
    m_owner.assertIsHere();
    if (segment.errorCode() != CURLE_OK)
        return false;
    void* handle = segment.curlHandle();
    curl_easy_setopt(handle, CURLOPT_OPENSOCKETFUNCTION, &Callbacks::onOpen);
    curl_easy_setopt(handle, CURLOPT_OPENSOCKETDATA, &segment);
    curl_easy_setopt(handle, CURLOPT_CLOSESOCKETFUNCTION, &Callbacks::onClose);
    curl_easy_setopt(handle, CURLOPT_CLOSESOCKETDATA, this);
    segment.setErrorCode(m_multi ? resultOf(curl_multi_add_handle(m_multi, handle)) : CURLE_OUT_OF_MEMORY);
    if (segment.errorCode() != CURLE_OK)
        return false;
    segment.setPool(this);
    return true;
}

void ConnectionPool::remove(CurlSegment& segment) {
    m_owner.assertIsHere();
    curl_multi_remove_handle(m_multi, segment.curlHandle());
    segment.setPool(nullptr);
    std::erase(m_waiting, &segment);
    for (Socket& each : m_sockets) {
        if (each.user == &segment)
            each.user = nullptr;
    }
}

void ConnectionPool::allow(std::int64_t bytes) {
    m_owner.assertIsHere();
    m_allowance = bytes;
    for (CurlSegment* segment : std::exchange(m_waiting, {}))
        segment->resume(); // which offers what it has, and may have to wait again
}

bool ConnectionPool::mayTake(CurlSegment& segment) {
    if (m_allowance > 0)
        return true;
    m_waiting.push_back(&segment);
    return false;
}

int ConnectionPool::perform() {
    m_owner.assertIsHere();
    ++m_turns;
    int running = 0;
    return resultOf(curl_multi_perform(m_multi, &running));
}

std::optional<ConnectionPool::Ended> ConnectionPool::nextEnded() {
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(m_multi, &left)) {
        char* segment = nullptr; // what the segment stored in its handle: itself
        if (Log::assertThat(message->msg == CURLMSG_DONE) &&
            curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &segment) == CURLE_OK)
            return Ended{reinterpret_cast<const CurlSegment*>(segment), message->data.result};
    }
    return std::nullopt;
}

void ConnectionPool::wait(std::chrono::milliseconds limit) {
    m_owner.assertIsHere();
    if (curl_multi_poll(m_multi, nullptr, 0, static_cast<int>(limit.count()), nullptr) != CURLM_OK)
        std::this_thread::sleep_for(limit); // or the loop would spin
}

void ConnectionPool::wakeup() {
    curl_multi_wakeup(m_multi);
}

} // namespace tarvo
