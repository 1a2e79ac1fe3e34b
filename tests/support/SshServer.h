// A real SSH server for SFTP: OpenSSH's, with keys and a password of the test's own.
#pragma once

#include "support/PamService.h"
#include "support/ServerProcess.h"

#include <string>

namespace tarvo::test {

/// Serves sample files from a folder of its own to the user who runs the test (user()), who logs in with the
/// password "secret" or with the key in keyFolder(). Needs root.
class SshServer : public FileServer {
public:
    SshServer();

    /// The address of a file by its name, without user and password.
    std::string url(const std::string& name) const;

    const std::string& user() const { return m_user; }

    /// The absolute path of a folder with id_rsa (PEM, no passphrase) and id_rsa.pub.
    std::string keyFolder() const { return m_folder.path("keys"); }

    /// After stop(), on the same port.
    void start();

private:
    void makeKeys() const;
    std::string configuration() const;

    std::string m_user;
    PamService m_passwords;
};

} // namespace tarvo::test
