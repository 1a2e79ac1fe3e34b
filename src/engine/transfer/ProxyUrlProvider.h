// The proxy that all transfers go through.
#pragma once

#include <atomic>
#include <optional>

#include "base/Url.h"
#include "base/UserDefaults.h"

namespace tarvo {

/// Reads the setting "ProxyUrl" anew at every question. Any thread.
class ProxyUrlProvider {
public:
    /// `defaults` outlives the provider.
    explicit ProxyUrlProvider(const UserDefaults& defaults) : m_defaults(defaults) {}

    /// None when the setting is absent, empty or no address of a proxy that libcurl can use
    /// (CURLOPT_PROXY). Without a scheme, as in "host:3128", it is an HTTP proxy, as libcurl reads it.
    /// A text that is set and can't be used is logged once, without the text: it may hold a password.
    std::optional<Url> proxyUrl() const;

private:
    const UserDefaults& m_defaults;
    mutable std::atomic<bool> m_warned{false};
};

} // namespace tarvo
