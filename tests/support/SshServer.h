// A real SSH server for SFTP: OpenSSH's, with keys and a password of the test's own.
#pragma once

#include "support/PamService.h"
#include "support/ServerProcess.h"

#include <string>

namespace tarvo::test {

/// Takes the algorithms that Debian's sshd takes. Serves sample files from a folder of its own to the user
/// who runs the test (user()), who logs in with the password "secret" or with a key that addKey() was told to
/// let in. Needs root.
class SshServer : public FileServer {
public:
    SshServer();

    /// The address of a file by its name, without user and password.
    std::string url(const std::string& name) const;

    const std::string& user() const { return m_user; }

    /// The service name of the server (AuthenticationManager::getServiceNameFromURL()).
    std::string service() const;

    /// Makes the private key at `path` and its public one beside it, as `type` of ssh-keygen.
    void addKey(const std::string& path, const std::string& type, const std::string& passphrase = {},
                bool opens = true) const;

    /// After stop(), on the same port.
    void start();

private:
    std::string configuration() const;

    std::string m_user;
    PamService m_passwords;
};

} // namespace tarvo::test
