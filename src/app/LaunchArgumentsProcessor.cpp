#include "app/LaunchArgumentsProcessor.h"

#include <algorithm>

#include "base/Runloop.h"

namespace tarvo {

void LaunchArgumentsProcessor::processLaunchArguments(const std::vector<std::string>& arguments) {
    Runloop::assertMain();
    if (std::find(arguments.begin(), arguments.end(), kResetDefaultsOption) == arguments.end())
        return;
    m_defaults.removeAll();
    m_defaults.flush();
}

} // namespace tarvo
