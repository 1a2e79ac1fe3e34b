// One vsftpd in the foreground. Whoever logs in becomes the guest user, whose root is our folder.
#include "support/VsftpdServer.h"

#include "support/SampleData.h"

#include <filesystem>

#include <spdlog/fmt/fmt.h>

namespace tarvo::test {
namespace {

namespace fs = std::filesystem;

void makeReadableFolder(const std::string& path) {
    fs::create_directory(path);
    fs::permissions(path, fs::perms(0755));
}

} // namespace

VsftpdServer::VsftpdServer(FtpLogin login, std::int64_t rate)
    : m_port(freePort()), m_program(programPath("vsftpd", "vsftpd")) {
    fs::permissions(m_folder.path(), fs::perms(0755)); // the guest user must get in
    makeReadableFolder(m_folder.path("files"));
    makeReadableFolder(m_folder.path("empty"));
    if (login == FtpLogin::password)
        m_passwords.emplace("bob", "secret", m_folder.path());
    m_folder.write("vsftpd.conf", configuration(login, rate));
    start();
}

std::string VsftpdServer::configuration(FtpLogin login, std::int64_t rate) const {
    const bool isAnonymous = login == FtpLogin::anonymous;
    return fmt::format("background=NO\nlisten=YES\nlisten_ipv6=NO\nlisten_address={}\nlisten_port={}\n"
                       "seccomp_sandbox=NO\nsecure_chroot_dir={}\n"
                       "anonymous_enable={}\nno_anon_password=YES\nanon_root={}\nanon_max_rate={}\n"
                       "local_enable={}\nguest_enable=YES\nguest_username=ftp\nlocal_root={}\n"
                       "local_max_rate={}\npam_service_name={}\nuserlist_enable=NO\ncheck_shell=NO\n"
                       "pasv_enable=YES\nport_enable=NO\nconnect_from_port_20=NO\nuse_localtime=NO\n"
                       "xferlog_enable=YES\nlog_ftp_protocol=YES\nvsftpd_log_file={}\n",
                       loopbackAddress(), m_port, m_folder.path("empty"), isAnonymous ? "YES" : "NO",
                       m_folder.path("files"), rate, isAnonymous ? "NO" : "YES", m_folder.path("files"), rate,
                       m_passwords ? m_passwords->name() : "none", m_folder.path("vsftpd.log"));
}

void VsftpdServer::start() {
    // vsftpd takes the end of any child for that of its own and waits for it, in vain when it was the script
    // of PamService. It does without the signal: it notices the end of its own by their closed sockets.
    m_process.start(
        {programPath("env", "coreutils"), "--block-signal=CHLD", m_program, m_folder.path("vsftpd.conf")},
        m_folder.path("output.log"), {m_port});
}

void VsftpdServer::addFile(const std::string& name, std::int64_t size) {
    writeSampleFile(m_folder.path("files/" + name), size);
    fs::permissions(m_folder.path("files/" + name), fs::perms(0644));
}

void VsftpdServer::addFolder(const std::string& name) {
    makeReadableFolder(m_folder.path("files/" + name));
}

std::string VsftpdServer::url(const std::string& path) const {
    return fmt::format("ftp://{}:{}{}", loopbackAddress(), m_port, path);
}

std::string VsftpdServer::log() const {
    return contentOf(m_folder.path("vsftpd.log"));
}

} // namespace tarvo::test
