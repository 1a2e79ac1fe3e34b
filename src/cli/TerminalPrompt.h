// Asks for a user name and a password on the terminal.
#pragma once

#include <functional>
#include <string>

#include "jobs/AuthenticationPrompt.h"

namespace tarvo {

/// Without a terminal there is no prompt: it says so on standard error and answers nothing. The password
/// is not echoed, and the terminal is as it was afterwards, also after Ctrl-C.
class TerminalPrompt final : public AuthenticationPrompt {
public:
    /// `device` is the terminal to ask on; `cancelDescriptor` becomes readable when the program is to end.
    /// A prompt that ends so calls `cancelled`, before whoever asked takes it for a mere refusal. Before it
    /// writes to the terminal it calls `aboutToAsk`.
    TerminalPrompt(std::string device, int cancelDescriptor, std::function<void()> cancelled,
                   std::function<void()> aboutToAsk)
        : m_device(std::move(device)), m_cancelDescriptor(cancelDescriptor),
          m_cancelled(std::move(cancelled)), m_aboutToAsk(std::move(aboutToAsk)) {}

    std::optional<AuthenticationAnswer> promptAuthentication(const AuthenticationQuestion& question) override;

private:
    std::optional<std::string> ask(int terminal, const std::string& question, bool echo) const;
    std::optional<std::string> readLine(int terminal) const;

    const std::string m_device;
    const int m_cancelDescriptor;
    const std::function<void()> m_cancelled;
    const std::function<void()> m_aboutToAsk;
};

} // namespace tarvo
