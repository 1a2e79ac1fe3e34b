// The composed agent and the setting that overrides it.
#include "engine/transfer/TRUserAgent.h"

#include "base/Settings.h"

namespace tarvo {

std::string TRUserAgent::getCustomAgent() {
    return "Mozilla/5.0 (Macintosh; Intel Mac OS X 10_10_3) AppleWebKit/600.5.17 (KHTML, like Gecko) "
           "Tarvo/" TARVO_VERSION;
}

std::optional<std::string> TRUserAgent::effectiveUserAgent(const UserDefaults& defaults) {
    auto agent = Settings(defaults).customUserAgent();
    return agent == kOwnAgentMarker ? getCustomAgent() : agent;
}

} // namespace tarvo
