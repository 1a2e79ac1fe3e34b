// Who the program says it is.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/UserDefaults.h"

namespace tarvo {

/// Any thread. Transfers send the setting "CustomUserAgent" as it stands, and thus by default the
/// marker; only the built-in browser shows the composed agent.
class TRUserAgent {
public:
    /// The value of "CustomUserAgent" that stands for the program's own agent.
    static constexpr std::string_view kOwnAgentMarker = "com.unregistered.Tarvo";

    /// The browser-like agent with the version of the program.
    static std::string getCustomAgent();

    /// What the built-in browser sends: the setting, or the composed agent when the setting is the
    /// marker. None when there is no setting at all.
    static std::optional<std::string> effectiveUserAgent(const UserDefaults& defaults);
};

} // namespace tarvo
