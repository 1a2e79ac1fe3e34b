#include "remote/TerminalScreen.h"

#include <string_view>

#include <unistd.h>

#include "platform/Interrupt.h"

namespace tarvo {

namespace {

// Xterm Control Sequences, "CSI ? Pm h".
constexpr std::string_view kEnter = "\x1b[?1049h\x1b[?25l";
constexpr std::string_view kLeave = "\x1b[?25h\x1b[?1049l";

termios modeBefore{}; // for the signal handler

void write(std::string_view text) {
    while (!text.empty()) {
        const auto written = ::write(STDOUT_FILENO, text.data(), text.size());
        if (written <= 0)
            return;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

/// Async-signal-safe.
void giveBack() {
    write(kLeave);
    ::tcsetattr(STDIN_FILENO, TCSANOW, &modeBefore);
}

} // namespace

TerminalScreen::TerminalScreen() : m_isTerminal(::tcgetattr(STDIN_FILENO, &m_before) == 0) {
    if (m_isTerminal) {
        modeBefore = m_before;
        Interrupt::beforeAbruptEnd(giveBack);
        termios quiet = m_before;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        ::tcsetattr(STDIN_FILENO, TCSANOW, &quiet);
    }
    write(kEnter);
}

TerminalScreen::~TerminalScreen() {
    Interrupt::beforeAbruptEnd(nullptr);
    write(kLeave);
    if (m_isTerminal)
        ::tcsetattr(STDIN_FILENO, TCSANOW, &m_before);
}

void TerminalScreen::draw(const std::vector<std::string>& lines) {
    std::string text = "\x1b[H"; // to the first column of the first line
    for (const auto& line : lines)
        text += line + "\x1b[K\r\n"; // and nothing behind it
    write(text + "\x1b[J");
}

} // namespace tarvo
