// The port to what ends the program when it is not needed any more.
#pragma once

#include <string>

namespace tarvo {

/// Main thread. A program starts out with automatic termination disabled.
class AutomaticTermination {
public:
    virtual ~AutomaticTermination() = default;

    /// From now on the program may be ended.
    virtual void enableAutomaticTermination(const std::string& reason) = 0;
    virtual void disableAutomaticTermination(const std::string& reason) = 0;
};

} // namespace tarvo
