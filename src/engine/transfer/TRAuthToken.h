// Who logs in to a server, and with what.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarvo {

/// Credentials for one service, handed from job to transfers. A value; reading it is allowed from any
/// thread. It is never logged.
class TRAuthToken {
public:
    /// `sshDirectory` is the absolute path, as bytes, of the folder that holds the user's SSH keys, or empty.
    TRAuthToken(std::string service, std::string username, std::string password,
                std::string sshDirectory = {})
        : m_service(std::move(service)), m_username(std::move(username)), m_password(std::move(password)),
          m_sshDirectory(std::move(sshDirectory)) {}

    const std::string& service() const { return m_service; }

    const std::string& username() const { return m_username; }

    /// Also the passphrase of the keys.
    const std::string& password() const { return m_password; }

    /// The folder with the keys; none when there is no name or it leads to no folder any more.
    std::optional<std::string> sshDir() const;

    /// The private keys in the folder, as they are now: id_ed25519, id_ecdsa, id_rsa, id_dsa, in this order.
    std::vector<std::string> privKeys() const;

    /// The key that a transfer with this token uses: of an attempt its own, else the first of the folder.
    std::optional<std::string> privKey() const;

    /// The private key's name with ".pub" behind it, if there is such a file.
    std::optional<std::string> pubKey() const;

    /// Whether a transfer with this token offers the password to an SSH server, or asks the SSH agent.
    bool offersPassword() const { return m_offersPassword; }

    bool asksAgent() const { return m_asksAgent; }

    /// The ways to log in to an SSH server, one after the other, since libcurl takes one key for a transfer:
    /// the first asks the agent too. The last alone offers the password, which may be a key's passphrase and
    /// no business of a server that accepts the key.
    std::vector<std::shared_ptr<const TRAuthToken>> sshAttempts() const;

private:
    std::string m_service;
    std::string m_username;
    std::string m_password;
    std::string m_sshDirectory;
    std::optional<std::string> m_attemptsKey;
    bool m_offersPassword = true;
    bool m_asksAgent = true;
};

/// Whether an SSH agent can be asked (SSH_AUTH_SOCK, see ssh-agent's manual page).
bool isSshAgentThere();

} // namespace tarvo
