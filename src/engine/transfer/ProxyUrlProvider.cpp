// From what a person types to a proxy's address.
#include "engine/transfer/ProxyUrlProvider.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "base/SettingKeys.h"
#include "base/Text.h"

namespace tarvo {

namespace {

constexpr std::array<std::string_view, 6> kProxySchemes{"http",    "https",  "socks4",
                                                        "socks4a", "socks5", "socks5h"};

Error unusable() {
    return Error::localized(ErrorDomain::Tarvo, kTarvoGeneral, "tr.err.proxy-unusable",
                            "tr.err.proxy-unusable-recovery");
}

} // namespace

Result<std::optional<Url>> ProxyUrlProvider::parse(const std::string& text) {
    if (text.empty())
        return std::nullopt;
    const std::string address(trimmed(text));
    const bool hasScheme = address.find("://") != std::string::npos;
    auto url = Url::parse(hasScheme ? address : "http://" + address);
    if (!url || url->host().empty() ||
        std::find(kProxySchemes.begin(), kProxySchemes.end(), url->scheme()) == kProxySchemes.end())
        return failure(unusable());
    return url;
}

Result<std::optional<Url>> ProxyUrlProvider::proxyUrl() const {
    if (m_defaults.isNoText(SettingKey::kProxyUrl))
        return failure(unusable());
    return parse(m_defaults.string(SettingKey::kProxyUrl).value_or(""));
}

} // namespace tarvo
