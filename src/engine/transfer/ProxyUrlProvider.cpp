// From what a person types to a proxy's address.
#include "engine/transfer/ProxyUrlProvider.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "base/Log.h"
#include "base/SettingKeys.h"

namespace tarvo {

namespace {

constexpr std::array<std::string_view, 6> kProxySchemes{"http",    "https",  "socks4",
                                                        "socks4a", "socks5", "socks5h"};

std::string trimmed(const std::string& text) {
    constexpr std::string_view kSpace = " \t\r\n";
    const std::size_t first = text.find_first_not_of(kSpace);
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

std::optional<Url> parsedProxy(const std::string& text) {
    const bool hasScheme = text.find("://") != std::string::npos;
    auto url = Url::parse(hasScheme ? text : "http://" + text);
    if (!url || url->host().empty())
        return std::nullopt;
    const bool known =
        std::find(kProxySchemes.begin(), kProxySchemes.end(), url->scheme()) != kProxySchemes.end();
    return known ? url : std::nullopt;
}

} // namespace

std::optional<Url> ProxyUrlProvider::proxyUrl() const {
    const std::string text = trimmed(m_defaults.string(SettingKey::kProxyUrl).value_or(""));
    if (text.empty())
        return std::nullopt;
    auto proxy = parsedProxy(text);
    if (!proxy && !m_warned.exchange(true))
        Log::warning("The setting ProxyUrl is no address of a proxy; transfers go without one");
    return proxy;
}

} // namespace tarvo
