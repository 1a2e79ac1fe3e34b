#include "cli/TerminalPrompt.h"

#include "base/Disk.h"

#include <iostream>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace tarvo {

namespace {

/// Switches the terminal's echo off for as long as it lives.
class Unechoed {
public:
    explicit Unechoed(int terminal) : m_terminal(terminal), m_changed(::tcgetattr(terminal, &m_before) == 0) {
        if (!m_changed)
            return;
        termios quiet = m_before;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        ::tcsetattr(terminal, TCSAFLUSH, &quiet);
    }

    ~Unechoed() {
        if (m_changed)
            ::tcsetattr(m_terminal, TCSAFLUSH, &m_before);
    }

    Unechoed(const Unechoed&) = delete;
    Unechoed& operator=(const Unechoed&) = delete;

private:
    const int m_terminal;
    termios m_before{};
    const bool m_changed;
};

void say(int terminal, const std::string& text) {
    [[maybe_unused]] const auto ignored = ::write(terminal, text.data(), text.size());
}

} // namespace

/// One line, as the terminal hands it over; none when the input ends or the program is to end.
std::optional<std::string> TerminalPrompt::readLine(int terminal) const {
    std::string line;
    while (true) {
        pollfd ready[2] = {{terminal, POLLIN, 0}, {m_cancelDescriptor, POLLIN, 0}};
        if (::poll(ready, 2, -1) < 0 && errno == EINTR)
            continue;
        if (ready[1].revents != 0) {
            m_cancelled();
            return std::nullopt;
        }
        char character = 0;
        const ssize_t count = ::read(terminal, &character, 1);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return std::nullopt;
        if (character == '\n')
            return line;
        line += character;
    }
}

std::optional<std::string> TerminalPrompt::ask(int terminal, const std::string& question, bool echo) const {
    say(terminal, question);
    if (echo)
        return readLine(terminal);
    std::optional<std::string> line;
    {
        const Unechoed hidden(terminal);
        line = readLine(terminal);
    }
    say(terminal, "\n");
    return line;
}

std::optional<AuthenticationAnswer>
TerminalPrompt::promptAuthentication(const AuthenticationQuestion& question) {
    m_aboutToAsk();
    const FileHandle terminal(::open(m_device.c_str(), O_RDWR | O_CLOEXEC | O_NOCTTY));
    if (!terminal) {
        std::cerr << "tarvo-get: " << question.service
                  << " asks for a user name and a password, and there is no terminal to ask on. "
                     "Give them with --user, or store them in the keyring."
                  << std::endl;
        return std::nullopt;
    }
    const int device = terminal.descriptor();
    say(device, question.service + " asks for a user name and a password" +
                    (question.shouldShowKeypairHint ? " (or accepts one of your SSH keys)" : "") + ".\n");
    const std::string shown = question.username.empty() ? "" : " [" + question.username + "]";
    auto name = ask(device, "User name" + shown + ": ", true);
    if (!name)
        return std::nullopt;
    if (name->empty())
        name = question.username;
    const auto password = ask(device, "Password: ", false);
    if (!password)
        return std::nullopt;
    const auto save = ask(device, "Save it in the keyring? [y/N] ", true);
    if (!save)
        return std::nullopt;
    return AuthenticationAnswer{*name, *password, *save == "y" || *save == "Y"};
}

} // namespace tarvo
