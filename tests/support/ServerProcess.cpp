// Children started and ended by number, never by name.
#include "support/ServerProcess.h"

#include "support/TemporaryFolder.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spdlog/fmt/fmt.h>
#include <spdlog/fmt/ranges.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tarvo::test {
namespace {

constexpr auto kGrace = std::chrono::milliseconds(200); // between SIGTERM and SIGKILL

sockaddr_in placeOf(int port) {
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(static_cast<std::uint16_t>(port));
    ::inet_pton(AF_INET, loopbackAddress().c_str(), &place.sin_addr);
    return place;
}

bool isListening(int port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in place = placeOf(port);
    const bool connected = ::connect(socket, reinterpret_cast<const sockaddr*>(&place), sizeof place) == 0;
    ::close(socket);
    return connected;
}

/// Asks `holds` every few milliseconds; false when it never did.
bool holdsWithin(std::chrono::milliseconds time, const std::function<bool()>& holds) {
    const auto end = std::chrono::steady_clock::now() + time;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

pid_t spawn(const std::vector<std::string>& command, const std::string& logPath) {
    std::vector<char*> words;
    words.reserve(command.size() + 1);
    for (const std::string& word : command)
        words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    const pid_t parent = ::getpid();
    const pid_t pid = ::fork();
    if (pid != 0)
        return pid;
    // From here on only what is allowed after fork() in a process with threads.
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != parent)
        ::_exit(127);
    const int log = ::open(logPath.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    const int nothing = ::open("/dev/null", O_RDONLY);
    ::dup2(nothing, STDIN_FILENO);
    ::dup2(log, STDOUT_FILENO);
    ::dup2(log, STDERR_FILENO);
    ::execv(words[0], words.data());
    ::_exit(127);
}

bool hasEnded(pid_t pid, int& status) {
    return ::waitpid(pid, &status, WNOHANG) == pid;
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

/// Gone, or ended and only not yet waited for by whoever inherited it.
bool isGone(pid_t pid) {
    const std::string status = contentOf(fmt::format("/proc/{}/stat", pid));
    return status.empty() || status.find(") Z ") != std::string::npos;
}

} // namespace

std::string loopbackAddress() {
    const pid_t pid = ::getpid();
    return fmt::format("127.{}.{}.{}", 64 + (pid >> 16) % 64, (pid >> 8) % 256, pid % 256);
}

int freePort() {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in place = placeOf(0);
    socklen_t size = sizeof place;
    const bool bound = ::bind(socket, reinterpret_cast<sockaddr*>(&place), size) == 0 &&
                       ::getsockname(socket, reinterpret_cast<sockaddr*>(&place), &size) == 0;
    EXPECT_TRUE(bound) << "no free port on " << loopbackAddress();
    ::close(socket);
    return ntohs(place.sin_port);
}

std::string programPath(const std::string& name, const std::string& package) {
    for (const auto* folder :
         {"/usr/sbin", "/usr/bin", "/sbin", "/bin", "/usr/local/sbin", "/usr/local/bin"}) {
        std::string path = std::string(folder) + "/" + name;
        if (::access(path.c_str(), X_OK) == 0)
            return path;
    }
    ADD_FAILURE() << name << " is not installed; this test needs it (Debian package " << package << ")";
    return name;
}

void runProgram(const std::vector<std::string>& command) {
    const TemporaryFolder folder;
    const std::string log = folder.path("output");
    int status = 0;
    const pid_t pid = spawn(command, log);
    ::waitpid(pid, &status, 0);
    EXPECT_EQ(status, 0) << fmt::format("{}: {}", fmt::join(command, " "), contentOf(log));
}

void ServerProcess::start(const std::vector<std::string>& command, const std::string& logPath,
                          const std::vector<int>& ports) {
    stop();
    m_pid = spawn(command, logPath);
    int status = 0;
    bool ended = false;
    const bool listening = holdsWithin(std::chrono::seconds(20), [&] {
        ended = hasEnded(m_pid, status);
        return ended || std::all_of(ports.begin(), ports.end(), isListening);
    });
    if (ended)
        m_pid = -1;
    if (ended || !listening)
        ADD_FAILURE() << fmt::format(
            "{} {}: {}", fmt::join(command, " "),
            ended ? fmt::format("ended with status {:#x}", status) : "doesn't listen", contentOf(logPath));
}

void ServerProcess::stop() {
    if (m_pid < 0)
        return;
    const std::vector<pid_t> descendants = descendantsOf(m_pid);
    ::kill(m_pid, SIGTERM);
    for (const pid_t pid : descendants)
        ::kill(pid, SIGTERM);
    int status = 0;
    if (!holdsWithin(kGrace, [&] { return hasEnded(m_pid, status); })) {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, &status, 0);
    }
    const auto areGone = [&] { return std::all_of(descendants.begin(), descendants.end(), isGone); };
    if (!holdsWithin(kGrace, areGone))
        for (const pid_t pid : descendants)
            ::kill(pid, SIGKILL);
    m_pid = -1;
}

} // namespace tarvo::test
