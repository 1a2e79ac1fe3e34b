// One sshd in the foreground, started under the name of our PAM service: sshd asks for the service that is
// called like the program.
#include "support/SshServer.h"

#include <filesystem>

#include <pwd.h>
#include <spdlog/fmt/fmt.h>
#include <unistd.h>

namespace tarvo::test {

SshServer::SshServer()
    : m_user(::getpwuid(::geteuid())->pw_name), m_passwords(m_user, "secret", m_folder.path()) {
    std::filesystem::create_directories("/run/sshd"); // sshd's own, missing where no sshd was started yet
    std::filesystem::create_symlink(programPath("sshd", "openssh-server"), m_folder.path(m_passwords.name()));
    for (const char* type : {"ed25519", "rsa"})
        addKey(m_folder.path("host_") + type, type, "", false);
    m_folder.write("sshd_config", configuration());
    start();
}

void SshServer::addKey(const std::string& path, const std::string& type, const std::string& passphrase,
                       bool opens) const {
    runProgram({programPath("ssh-keygen", "openssh-client"), "-q", "-t", type, "-N", passphrase, "-f", path});
    if (opens)
        m_folder.write("authorized_keys",
                       contentOf(m_folder.path("authorized_keys")) + contentOf(path + ".pub"));
}

std::string SshServer::configuration() const {
    return fmt::format("ListenAddress {0}:{1}\nPidFile none\nHostKey {2}/host_ed25519\nHostKey {2}/host_rsa\n"
                       "AuthorizedKeysFile {2}/authorized_keys\nStrictModes no\nPermitRootLogin yes\n"
                       "UsePAM yes\nPasswordAuthentication yes\nKbdInteractiveAuthentication no\n"
                       "AllowUsers {3}\nSubsystem sftp internal-sftp\nForceCommand internal-sftp\n"
                       "MaxStartups 100\nUseDNS no\nPrintMotd no\n",
                       loopbackAddress(), m_port, m_folder.path(), m_user);
}

void SshServer::start() {
    m_process.start({m_folder.path(m_passwords.name()), "-D", "-e", "-f", m_folder.path("sshd_config")},
                    m_folder.path("sshd.log"), {m_port});
}

std::string SshServer::service() const {
    return fmt::format("sftp://{}:{}", loopbackAddress(), m_port);
}

std::string SshServer::url(const std::string& name) const {
    return service() + m_folder.path("files/") + name;
}

} // namespace tarvo::test
