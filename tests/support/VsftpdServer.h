// A real FTP server: vsftpd, for anonymous logins or for those with a password.
#pragma once

#include "support/PamService.h"
#include "support/ServerProcess.h"
#include "support/TemporaryFolder.h"

#include <cstdint>
#include <optional>
#include <string>

namespace tarvo::test {

enum class FtpLogin { anonymous, password };

/// Serves sample files from a folder of its own, which clients see as "/". Passive connections only.
/// With FtpLogin::password only bob with the password secret is let in. Needs root.
class VsftpdServer {
public:
    /// `rate`: bytes per second for each connection, 0 for no limit.
    explicit VsftpdServer(FtpLogin login = FtpLogin::anonymous, std::int64_t rate = 0);

    /// Makes a file of `size` bytes of sample data.
    void addFile(const std::string& name, std::int64_t size);

    void addFolder(const std::string& name);

    /// `path` begins with a slash.
    std::string url(const std::string& path) const;

    /// What vsftpd logged: commands and answers of all connections.
    std::string log() const;

    void stop() { m_process.stop(); }

    /// Also after stop(), on the same port.
    void start();

private:
    std::string configuration(FtpLogin login, std::int64_t rate) const;

    TemporaryFolder m_folder;
    int m_port;
    std::string m_program;
    std::optional<PamService> m_passwords;
    ServerProcess m_process;
};

} // namespace tarvo::test
