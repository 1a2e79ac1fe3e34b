// The launch option that puts all settings back to their defaults.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/UserDefaults.h"

namespace tarvo {

/// Main thread, before anything reads the settings.
class LaunchArgumentsProcessor {
public:
    static constexpr std::string_view kResetDefaultsOption = "-ResetDefaults";

    /// `defaults` outlives the processor.
    explicit LaunchArgumentsProcessor(UserDefaults& defaults) : m_defaults(defaults) {}

    /// Removes every stored setting, the saved queue among them, if the option is there.
    void processLaunchArguments(const std::vector<std::string>& arguments);

private:
    UserDefaults& m_defaults;
};

} // namespace tarvo
