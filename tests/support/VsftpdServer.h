// A real FTP server: vsftpd, for anonymous logins or for those with a password.
#pragma once

#include "support/PamService.h"
#include "support/ServerProcess.h"

#include <optional>
#include <string>

namespace tarvo::test {

enum class FtpLogin { anonymous, password };

/// Serves sample files from a folder of its own, which clients see as "/". Passive connections only.
/// With FtpLogin::password only bob with the password secret is let in. Needs root.
class VsftpdServer : public FileServer {
public:
    /// `more` are further lines of its configuration.
    explicit VsftpdServer(FtpLogin login = FtpLogin::anonymous, const std::string& more = {});

    /// `path` begins with a slash.
    std::string url(const std::string& path) const;

    /// What vsftpd logged: commands and answers of all connections.
    std::string log() const;

private:
    std::optional<PamService> m_passwords;
};

} // namespace tarvo::test
