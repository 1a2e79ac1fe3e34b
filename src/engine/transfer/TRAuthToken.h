// Who logs in to a server, and with what.
#pragma once

#include <optional>
#include <string>

namespace tarvo {

/// Credentials for one service, handed from job to transfers. A value; reading it is allowed from any
/// thread. It is never logged.
class TRAuthToken {
public:
    /// `sshDirectoryBookmark` is the value of the setting "SSHDirectoryBookmark": the absolute path, as
    /// bytes, of the folder that holds the user's SSH keys, or empty.
    TRAuthToken(std::string service, std::string username, std::string password,
                std::string sshDirectoryBookmark = {})
        : m_service(std::move(service)), m_username(std::move(username)), m_password(std::move(password)),
          m_sshDirectoryBookmark(std::move(sshDirectoryBookmark)) {}

    const std::string& service() const { return m_service; }

    const std::string& username() const { return m_username; }

    const std::string& password() const { return m_password; }

    /// The folder with the keys; none when there is no bookmark or it leads to no folder any more.
    std::optional<std::string> sshDir() const;

    /// The file "id_rsa" or "id_dsa" in the folder, as it is now; of the two, the one that the
    /// folder's listing has later.
    std::optional<std::string> privKey() const;

    /// The private key's name with ".pub" behind it, whether there is such a file or not.
    std::optional<std::string> pubKey() const;

private:
    std::string m_service;
    std::string m_username;
    std::string m_password;
    std::string m_sshDirectoryBookmark;
};

} // namespace tarvo
