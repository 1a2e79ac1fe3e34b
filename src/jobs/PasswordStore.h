// The port to wherever the user keeps passwords.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tarvo {

/// Passwords by service (AuthenticationManager::getServiceNameFromURL()) and account (a user name). Any
/// thread. Where there is no store, nothing is found and nothing is stored; that is no error. Looking up
/// never asks the user anything.
class PasswordStore {
public:
    virtual ~PasswordStore() = default;

    /// The accounts for which a password is stored, those whose password can be read first.
    virtual std::vector<std::string> accounts(const std::string& service) = 0;

    virtual std::optional<std::string> password(const std::string& service, const std::string& account) = 0;

    /// Keeps the password, in the place of an earlier one. May return before it is kept.
    virtual void store(const std::string& service, const std::string& account,
                       const std::string& password) = 0;
};

} // namespace tarvo
