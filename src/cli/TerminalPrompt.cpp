#include "cli/TerminalPrompt.h"

#include "base/Disk.h"
#include "base/Localized.h"
#include "base/Log.h"
#include "base/Runloop.h"
#include "base/Text.h"
#include "platform/Interrupt.h"

#include <algorithm>
#include <cerrno>

#include <QSocketNotifier>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace tarvo {

namespace {

/// The terminal whose echo is off, and its settings before: where a signal's handler finds them.
int unechoedTerminal = -1;
termios settingsBefore{};

void echoAgain() {
    ::tcsetattr(unechoedTerminal, TCSANOW, &settingsBefore);
}

/// Switches the terminal's echo off for as long as it lives. One at a time.
class Unechoed {
public:
    explicit Unechoed(int terminal) : m_changed(::tcgetattr(terminal, &settingsBefore) == 0) {
        if (!m_changed)
            return;
        unechoedTerminal = terminal;
        Interrupt::beforeAbruptEnd(&echoAgain);
        termios quiet = settingsBefore;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        ::tcsetattr(terminal, TCSAFLUSH, &quiet);
    }

    ~Unechoed() {
        if (!m_changed)
            return;
        ::tcsetattr(unechoedTerminal, TCSAFLUSH, &settingsBefore);
        Interrupt::beforeAbruptEnd(nullptr);
    }

    Unechoed(const Unechoed&) = delete;
    Unechoed& operator=(const Unechoed&) = delete;

private:
    const bool m_changed;
};

void say(int terminal, const std::string& text) {
    [[maybe_unused]] const auto ignored = ::write(terminal, text.data(), text.size());
}

} // namespace

/// One line, as the terminal hands it over; none when the input ends or the question is cancelled.
std::optional<std::string> TerminalPrompt::readLine(int terminal) {
    std::string line;
    bool isWhole = false;
    QSocketNotifier typed(terminal, QSocketNotifier::Read);
    QObject::connect(&typed, &QSocketNotifier::activated, &typed, [&] {
        char characters[256];
        const ssize_t count = ::read(terminal, characters, sizeof characters);
        if (count < 0 && errno == EINTR)
            return;
        line.append(characters, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        isWhole = line.ends_with('\n'); // a read never goes beyond it (termios(3), canonical mode)
        if (isWhole || count <= 0)
            m_waiting.quit();
    });
    if (!m_isCancelled)
        m_waiting.exec();
    if (m_isCancelled || !isWhole)
        return std::nullopt;
    line.pop_back();
    return line;
}

std::optional<std::string> TerminalPrompt::ask(int terminal, const std::string& question, bool echo) {
    m_view.makeRoomFor(question);
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

std::optional<AuthenticationAnswer> TerminalPrompt::converse(int terminal,
                                                             const AuthenticationQuestion& question) {
    auto name = ask(terminal,
                    question.username.empty()
                        ? localized("tr.get.ask-name")
                        : localized("tr.get.ask-name-known", {withoutControls(question.username)}),
                    true);
    if (!name)
        return std::nullopt;
    if (name->empty())
        name = question.username;
    const auto password = ask(terminal, localized("tr.get.ask-password"), false);
    if (!password)
        return std::nullopt;
    const auto save = ask(terminal, localized("tr.get.ask-save"), true);
    if (!save)
        return std::nullopt;
    return AuthenticationAnswer{*name, *password, *save == "y" || *save == "Y"};
}

std::optional<AuthenticationAnswer>
TerminalPrompt::promptAuthentication(const AuthenticationQuestion& question) {
    Runloop::assertMain();
    if (!Log::assertThat(!m_isAsking, "A question inside a question"))
        return std::nullopt;
    const FileHandle terminal(::open(m_device.c_str(), O_RDWR | O_CLOEXEC | O_NOCTTY));
    if (!terminal) {
        m_view.notice(localized("tr.get.no-terminal", {question.service}));
        return std::nullopt;
    }
    m_isAsking = true;
    m_isCancelled = false;
    const std::string asks =
        localized(question.shouldShowKeypairHint ? "tr.get.asks-or-passphrase" : "tr.err.authentication",
                  {question.service}) +
        "\n";
    m_view.makeRoomFor(asks);
    say(terminal.descriptor(), asks);
    auto answer = converse(terminal.descriptor(), question);
    m_view.makeRoomFor("");
    m_isAsking = false;
    return answer;
}

void TerminalPrompt::cancelPrompt() {
    Runloop::assertMain();
    m_isCancelled = true;
    m_waiting.quit();
}

} // namespace tarvo
