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
    std::filesystem::create_directory(m_folder.path("keys"));
    std::filesystem::create_directories("/run/sshd"); // sshd's own, missing where no sshd was started yet
    std::filesystem::create_symlink(programPath("sshd", "openssh-server"), m_folder.path(m_passwords.name()));
    makeKeys();
    m_folder.write("sshd_config", configuration());
    start();
}

void SshServer::makeKeys() const {
    const std::string program = programPath("ssh-keygen", "openssh-client");
    runProgram({program, "-q", "-t", "ed25519", "-N", "", "-f", m_folder.path("host_ed25519")});
    runProgram({program, "-q", "-t", "rsa", "-b", "2048", "-N", "", "-f", m_folder.path("host_rsa")});
    runProgram(
        {program, "-q", "-t", "rsa", "-b", "2048", "-m", "PEM", "-N", "", "-f", keyFolder() + "/id_rsa"});
    m_folder.write("authorized_keys", contentOf(keyFolder() + "/id_rsa.pub"));
}

std::string SshServer::configuration() const {
    // ssh-rsa signatures are off by default; libssh2 before 1.11 makes no others with an RSA key.
    return fmt::format("ListenAddress {0}:{1}\nPidFile none\nHostKey {2}/host_ed25519\nHostKey {2}/host_rsa\n"
                       "HostKeyAlgorithms +ssh-rsa\nPubkeyAcceptedAlgorithms +ssh-rsa\n"
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

std::string SshServer::url(const std::string& name) const {
    return fmt::format("sftp://{}:{}{}/{}", loopbackAddress(), m_port, m_folder.path("files"), name);
}

} // namespace tarvo::test
