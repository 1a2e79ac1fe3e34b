// Children started and ended by number, never by name.
#include "support/ServerProcess.h"

#include "base/Disk.h"
#include "support/SampleData.h"
#include "support/TurnUntil.h"

#include <algorithm>
#include <csignal>
#include <filesystem>

#include <QStandardPaths>
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spdlog/fmt/fmt.h>
#include <spdlog/fmt/ranges.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarvo::test {
namespace {

namespace fs = std::filesystem;

constexpr auto kGrace = std::chrono::milliseconds(200); // between SIGTERM and SIGKILL
constexpr auto kLongestRun = std::chrono::seconds(30);

/// A socket, and an address of ours for it.
struct Place {
    explicit Place(int port) {
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        ::inet_pton(AF_INET, loopbackAddress().c_str(), &address.sin_addr);
    }

    ~Place() { ::close(socket); }

    sockaddr* raw() { return reinterpret_cast<sockaddr*>(&address); }

    sockaddr_in address{};
    socklen_t size = sizeof address;
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

bool isListening(int port) {
    Place place(port);
    return ::connect(place.socket, place.raw(), place.size) == 0;
}

/// Its output goes to the end of the file at `logPath`.
void spawn(ChildProcess& process, const std::vector<std::string>& command, const std::string& logPath) {
    const FileHandle log(::open(logPath.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    process.start(command, {.output = log.descriptor(), .problems = log.descriptor()});
}

/// The children of a process and theirs: a server for each connection, for example.
std::vector<pid_t> descendantsOf(pid_t pid) {
    std::vector<pid_t> all;
    std::ifstream children(fmt::format("/proc/{0}/task/{0}/children", pid));
    for (pid_t child = 0; children >> child;) {
        all.push_back(child);
        const auto below = descendantsOf(child);
        all.insert(all.end(), below.begin(), below.end());
    }
    return all;
}

} // namespace

std::string loopbackAddress() {
    const pid_t pid = ::getpid();
    return fmt::format("127.{}.{}.{}", 64 + (pid >> 16) % 64, (pid >> 8) % 256, pid % 256);
}

int freePort() {
    Place place(0);
    EXPECT_TRUE(::bind(place.socket, place.raw(), place.size) == 0 &&
                ::getsockname(place.socket, place.raw(), &place.size) == 0)
        << "no free port on " << loopbackAddress();
    return ntohs(place.address.sin_port);
}

std::string programPath(const std::string& name, const std::string& package) {
    const QString path = QStandardPaths::findExecutable(
        QString::fromStdString(name), {"/usr/sbin", "/usr/bin", "/usr/local/sbin", "/usr/local/bin"});
    EXPECT_FALSE(path.isEmpty()) << name << " is not installed; this test needs it (Debian package "
                                 << package << ")";
    return path.isEmpty() ? name : path.toStdString();
}

void runProgram(const std::vector<std::string>& command) {
    const TemporaryFolder folder;
    ChildProcess process;
    spawn(process, command, folder.path("output"));
    EXPECT_TRUE(process.endsWithin(kLongestRun) && process.status() == 0)
        << fmt::format("{}: {}", fmt::join(command, " "), contentOf(folder.path("output")));
}

void ServerProcess::start(const std::vector<std::string>& command, const std::string& logPath,
                          const std::vector<int>& ports) {
    stop();
    spawn(m_process, command, logPath);
    const auto hasEnded = [&] { return m_process.hasEnded(); };
    const auto listens = [&] { return std::all_of(ports.begin(), ports.end(), isListening); };
    EXPECT_TRUE(turnUntil([&] { return hasEnded() || listens(); }) && !hasEnded())
        << fmt::format("{} doesn't listen: {}", fmt::join(command, " "), contentOf(logPath));
}

void ServerProcess::freeze() const {
    m_process.signal(SIGSTOP);
    for (const pid_t pid : descendantsOf(m_process.pid()))
        ::kill(pid, SIGSTOP);
}

void ServerProcess::stop() {
    if (m_process.hasEnded())
        return;
    const std::vector<pid_t> descendants = descendantsOf(m_process.pid());
    m_process.signal(SIGTERM);
    for (const pid_t pid : descendants)
        ::kill(pid, SIGTERM);
    m_process.endsWithin(kGrace);
    m_process.end();
    for (const pid_t pid : descendants)
        ::kill(pid, SIGKILL);
}

FileServer::FileServer() {
    fs::permissions(m_folder.path(), fs::perms(0755)); // servers may run as another user
    addFolder("");
}

void FileServer::addFile(const std::string& name, std::int64_t size) const {
    writeSampleFile(m_folder.path("files/" + name), size);
    fs::permissions(m_folder.path("files/" + name), fs::perms(0644));
}

void FileServer::replaceFile(const std::string& name, std::int64_t size, std::int64_t version) const {
    const std::string path = m_folder.path("files/" + name);
    const std::string beside = m_folder.path(name + ".new");
    writeSampleFile(beside, size, version);
    fs::permissions(beside, fs::perms(0644));
    const timespec time{1'767'225'600 + version, 0};
    const timespec times[] = {time, time};
    EXPECT_EQ(::utimensat(AT_FDCWD, beside.c_str(), times, 0), 0);
    fs::rename(beside, path);
}

void FileServer::addFolder(const std::string& name) const {
    fs::create_directory(m_folder.path("files/" + name));
    fs::permissions(m_folder.path("files/" + name), fs::perms(0755));
}

} // namespace tarvo::test
