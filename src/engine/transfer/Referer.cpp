#include "engine/transfer/Referer.h"

namespace tarvo {

std::optional<std::string> refererAfterRedirect(const Url& from, const Url& to) {
    if (from.scheme() == "https" && to.scheme() != "https")
        return std::nullopt;
    const std::string origin = from.origin();
    if (origin != to.origin())
        return origin + "/";
    const std::string address = from.withoutCredentials().absoluteString();
    return address.substr(0, address.find('#'));
}

} // namespace tarvo
