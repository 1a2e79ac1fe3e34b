// The port to the places where the desktop shows the program: its icon among others, its item in the tray.
#pragma once

namespace tarvo {

/// Main thread.
class ApplicationPresence {
public:
    virtual ~ApplicationPresence() = default;

    virtual void showStatusItem() = 0;
    virtual void removeStatusItem() = 0;

    /// Whether the program counts as one with windows, with an icon where the desktop lists them.
    virtual void setIconVisible(bool visible) = 0;
};

} // namespace tarvo
