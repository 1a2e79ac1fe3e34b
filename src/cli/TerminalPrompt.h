// Asks for a user name and a password on the terminal.
#pragma once

#include <string>

#include <QEventLoop>

#include "cli/ProgressView.h"
#include "jobs/AuthenticationPrompt.h"

namespace tarvo {

/// Without a terminal there is no prompt: it says so on standard error and answers nothing. The password
/// is not echoed, and the terminal is as it was afterwards, also after Ctrl-C. While a question waits, the
/// main loop turns and the other downloads go on.
class TerminalPrompt final : public AuthenticationPrompt {
public:
    /// `device` is the terminal to ask on; `view`, which writes to it too, makes room for the questions and
    /// outlives the prompt.
    TerminalPrompt(std::string device, ProgressView& view) : m_device(std::move(device)), m_view(view) {}

    std::optional<AuthenticationAnswer> promptAuthentication(const AuthenticationQuestion& question) override;
    void cancelPrompt() override;

private:
    std::optional<AuthenticationAnswer> converse(int terminal, const AuthenticationQuestion& question);
    std::optional<std::string> ask(int terminal, const std::string& question, bool echo);
    std::optional<std::string> readLine(int terminal);

    const std::string m_device;
    ProgressView& m_view;
    QEventLoop m_waiting;
    bool m_isAsking = false;
    bool m_isCancelled = false;
};

} // namespace tarvo
