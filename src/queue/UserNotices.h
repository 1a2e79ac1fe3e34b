// The port to the desktop's notices.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tarvo {

struct NoticeButton {
    std::string label;
    /// Called at most once for a notice, on the main thread, perhaps long after. `activationToken` may be
    /// empty; it allows a window to come to the front.
    std::function<void(const std::string& activationToken)> pressed;
};

struct UserNotice {
    std::string title;
    std::string informativeText;
    bool playsSound = false;             ///< the desktop's usual one
    std::vector<NoticeButton> buttons{}; ///< where notices can have them; the text says enough without
};

class UserNotices {
public:
    virtual ~UserNotices() = default;

    /// Shows the notice, or quietly doesn't where there is no service for that. Never blocks. Main thread.
    virtual void deliver(const UserNotice& notice) = 0;
};

} // namespace tarvo
