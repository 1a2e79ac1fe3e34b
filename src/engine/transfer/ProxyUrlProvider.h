// The proxy that all transfers go through.
#pragma once

#include <optional>
#include <string>

#include "base/Error.h"
#include "base/Url.h"
#include "base/UserDefaults.h"

namespace tarvo {

/// Reads the setting "ProxyUrl" anew at every question. Any thread.
class ProxyUrlProvider {
public:
    /// `defaults` outlives the provider.
    explicit ProxyUrlProvider(const UserDefaults& defaults) : m_defaults(defaults) {}

    /// The proxy; none when the setting is absent or empty. Anything else that is no address of a proxy that
    /// libcurl can use (CURLOPT_PROXY) is an error: nothing may go out then, for the user does not want it to
    /// go there directly. The error does not hold the text, which may have a password in it.
    Result<std::optional<Url>> proxyUrl() const;

    /// What a text means as a proxy: none for an empty one. Without a scheme, as in "host:3128", it is an
    /// HTTP proxy, as libcurl reads it.
    static Result<std::optional<Url>> parse(const std::string& text);

private:
    const UserDefaults& m_defaults;
};

} // namespace tarvo
