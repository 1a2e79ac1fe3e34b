// The port to the desktop's notices.
#pragma once

#include <string>

namespace tarvo {

struct UserNotice {
    std::string title;
    std::string informativeText;
    bool playsSound = false; ///< the desktop's usual one
};

class UserNotices {
public:
    virtual ~UserNotices() = default;

    /// Shows the notice, or quietly doesn't where there is no service for that. Never blocks. Main thread.
    virtual void deliver(const UserNotice& notice) = 0;
};

} // namespace tarvo
