// A terminal as a screen that is drawn again and again, and given back as it was.
#pragma once

#include <string>
#include <vector>

#include <termios.h>

namespace tarvo {

/// On standard output, in the alternate screen (xterm, "Alternate Screen Buffer"), with keys that come one by
/// one and unseen. One at a time.
class TerminalScreen {
public:
    TerminalScreen();
    ~TerminalScreen();
    TerminalScreen(const TerminalScreen&) = delete;
    TerminalScreen& operator=(const TerminalScreen&) = delete;

    /// In place of what stands there.
    void draw(const std::vector<std::string>& lines);

private:
    termios m_before{};
    bool m_isTerminal = false;
};

} // namespace tarvo
