// The port that asks the user for a user name and a password.
#pragma once

#include <optional>
#include <string>

namespace tarvo {

/// What a prompt shows. The keyboard focus belongs on the password when there is a user name already.
struct AuthenticationQuestion {
    std::string username;
    std::string password;
    std::string service;                ///< "ftp://host"; not to be changed by the user
    bool shouldShowKeypairHint = false; ///< the passphrase of one of the user's SSH keys will do, too
};

struct AuthenticationAnswer {
    std::string username;
    std::string password;
    bool shouldSave = false; ///< in the password store too
};

class AuthenticationPrompt {
public:
    virtual ~AuthenticationPrompt() = default;

    /// Asks the user and waits for the answer, turning the main loop meanwhile; none when the user, or
    /// cancelPrompt(), cancelled. One question at a time. Main thread.
    virtual std::optional<AuthenticationAnswer>
    promptAuthentication(const AuthenticationQuestion& question) = 0;

    /// Has the question that is open, if any, end without an answer. Main thread.
    virtual void cancelPrompt() = 0;
};

} // namespace tarvo
