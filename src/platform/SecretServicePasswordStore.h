// The user's password store on a Linux desktop: the Secret Service of the session.
#pragma once

#include <atomic>
#include <chrono>

#include "base/SerialQueue.h"
#include "jobs/PasswordStore.h"

namespace tarvo {

/// Passwords in the Secret Service (freedesktop.org Secret Service API), through libsecret, as items of the
/// schema "com.unregistered.Tarvo" with the attributes "service" and "account". Any thread.
///
/// Without a session bus or a service on it nothing is found and nothing is stored. Looking up never asks
/// the user to unlock anything, and gives up after kLookUpLimit. Storing goes on in the background, where the
/// service may ask the user to unlock the store; what can't be stored is named in the log.
class SecretServicePasswordStore final : public PasswordStore {
public:
    static constexpr std::chrono::seconds kLookUpLimit{3};
    static constexpr std::chrono::seconds kStoreLimit{120};     ///< with an answer of the user in it
    static constexpr std::chrono::milliseconds kQuitLimit{500}; ///< for what is still being stored at the end

    SecretServicePasswordStore() = default;

    /// Waits for what is being stored, at most kQuitLimit.
    ~SecretServicePasswordStore() override;

    std::vector<std::string> accounts(const std::string& service) override;
    std::optional<std::string> password(const std::string& service, const std::string& account) override;
    void store(const std::string& service, const std::string& account, const std::string& password) override;

private:
    std::atomic<bool> m_isQuitting{false};
    SerialQueue m_storing{"com.unregistered.tarvo2.passwordStoringQueue"};
};

} // namespace tarvo
