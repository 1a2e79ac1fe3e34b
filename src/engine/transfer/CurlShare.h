// What all transfers share of libcurl: looked-up names and TLS sessions.
#pragma once

#include <array>
#include <mutex>

#include <curl/curl.h>

namespace tarvo {

/// Any thread. Connections are not among what is shared: libcurl does not support that between threads that
/// run at the same time (CURLSHOPT_SHARE); ConnectionPools lends them instead. Outlives the easy handles that
/// use it. libcurl asks for its locks around a look-up and a handshake, never for a block of data.
class CurlShare {
public:
    CurlShare() = default;
    ~CurlShare();

    CurlShare(const CurlShare&) = delete;
    CurlShare& operator=(const CurlShare&) = delete;

    /// For CURLOPT_SHARE; null when libcurl had no memory for it. After LiveCurlSegment::startUp().
    CURLSH* get();

private:
    struct Callbacks;

    std::once_flag m_made;
    CURLSH* m_share = nullptr;
    std::array<std::mutex, CURL_LOCK_DATA_LAST> m_locks; // one for each kind of data, as libcurl demands
};

} // namespace tarvo
