// A libcurl easy handle that knows whether it could take all its options.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include <curl/curl.h>

#include "engine/transfer/CurlShare.h"

namespace tarvo {

/// One thread at a time uses it.
class EasyHandle {
public:
    /// `share` may be null.
    explicit EasyHandle(std::shared_ptr<CurlShare> share)
        : m_share(std::move(share)), m_handle(curl_easy_init()),
          m_failure(m_handle ? CURLE_OK : CURLE_OUT_OF_MEMORY) {
        if (m_share)
            set(CURLOPT_SHARE, m_share->get());
    }

    ~EasyHandle() {
        curl_easy_cleanup(m_handle);
        curl_slist_free_all(m_headers);
    }

    EasyHandle(const EasyHandle&) = delete;
    EasyHandle& operator=(const EasyHandle&) = delete;

    CURL* get() const { return m_handle; }

    /// libcurl's result code for the first option that could not be set, or for the handle itself.
    CURLcode failure() const { return m_failure; }

    template <class Value>
    void set(CURLoption option, Value value) {
        note(option, curl_easy_setopt(m_handle, option, value));
    }

    void set(CURLoption option, const std::string& value) { set(option, value.c_str()); }

    /// Adds a header line to each request.
    void addHeader(const std::string& line) {
        m_headers = curl_slist_append(m_headers, line.c_str());
        set(CURLOPT_HTTPHEADER, m_headers);
    }

    /// What libcurl knows of the transfer (curl_easy_getinfo), else `unknown`.
    template <class Value>
    Value info(CURLINFO about, Value unknown) const {
        curl_easy_getinfo(m_handle, about, &unknown);
        return unknown;
    }

private:
    void note(CURLoption option, CURLcode result);

    const std::shared_ptr<CurlShare> m_share; // which the handle uses to its end
    CURL* const m_handle;
    curl_slist* m_headers = nullptr;
    CURLcode m_failure;
};

} // namespace tarvo
