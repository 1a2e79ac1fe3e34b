#include "engine/transfer/ConnectionPool.h"

#include "base/Log.h"

#include <curl/curl.h>

namespace tarvo {

ConnectionPool::ConnectionPool() : m_multi(curl_multi_init()) {
    Log::assertThat(m_multi != nullptr, "curl_multi_init");
    curl_multi_setopt(m_multi, CURLMOPT_PIPELINING, static_cast<long>(CURLPIPE_NOTHING));
}

ConnectionPool::~ConnectionPool() {
    curl_multi_cleanup(m_multi);
}

void ConnectionPool::wait(std::chrono::milliseconds limit) {
    curl_multi_poll(m_multi, nullptr, 0, static_cast<int>(limit.count()), nullptr);
}

void ConnectionPool::wakeup() {
    curl_multi_wakeup(m_multi);
}

} // namespace tarvo
