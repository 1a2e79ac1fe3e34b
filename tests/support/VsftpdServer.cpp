// One vsftpd in the foreground. A client that logs in becomes the guest user, whose root is our folder.
#include "support/VsftpdServer.h"

#include <filesystem>

#include <spdlog/fmt/fmt.h>

namespace tarvo::test {

VsftpdServer::VsftpdServer(FtpLogin login, const std::string& more) {
    std::filesystem::create_directory(m_folder.path("empty"));
    if (login == FtpLogin::password)
        m_passwords.emplace("bob", "secret", m_folder.path());
    const auto yesIf = [](bool condition) { return condition ? "YES" : "NO"; };
    const std::string configuration = fmt::format(
        "background=NO\nlisten=YES\nlisten_ipv6=NO\nlisten_address={}\nlisten_port={}\n"
        "seccomp_sandbox=NO\nsecure_chroot_dir={}/empty\n"
        "anonymous_enable={}\nno_anon_password=YES\nanon_root={}/files\n"
        "local_enable={}\nguest_enable=YES\nguest_username=ftp\nlocal_root={}/files\n"
        "pam_service_name={}\nuserlist_enable=NO\ncheck_shell=NO\n"
        "max_clients=0\nmax_per_ip=0\n" // it is not told of those that have ended
        "pasv_enable=YES\nport_enable=NO\nconnect_from_port_20=NO\nuse_localtime=NO\n"
        "xferlog_enable=YES\nlog_ftp_protocol=YES\nvsftpd_log_file={}/vsftpd.log\n",
        loopbackAddress(), m_port, m_folder.path(), yesIf(!m_passwords), m_folder.path(),
        yesIf(!!m_passwords), m_folder.path(), m_passwords ? m_passwords->name() : "none", m_folder.path());
    // vsftpd takes the end of any child for that of its own and waits for it, in vain when it was the script
    // of PamService. It does without the signal: it notices the end of its own by their closed sockets.
    m_process.start({programPath("env", "coreutils"), "--block-signal=CHLD", programPath("vsftpd", "vsftpd"),
                     m_folder.write("vsftpd.conf", configuration + more)},
                    m_folder.path("output.log"), {m_port});
}

std::string VsftpdServer::url(const std::string& path) const {
    return fmt::format("ftp://{}:{}{}", loopbackAddress(), m_port, path);
}

std::string VsftpdServer::log() const {
    return contentOf(m_folder.path("vsftpd.log"));
}

} // namespace tarvo::test
