// Forks, for the child's terminal and rights need steps that posix_spawn has not.
#include "Program.h"

#include <array>
#include <csignal>
#include <string_view>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace tarvo::test {

namespace {

using Steady = std::chrono::steady_clock;

std::vector<std::string> environmentFor(const TemporaryFolder& home, const std::vector<std::string>& more) {
    std::vector<std::string> all;
    for (char** entry = environ; *entry; ++entry) {
        const std::string_view text(*entry);
        bool personal = text.find("_proxy=") != std::string_view::npos || text.starts_with("NO_COLOR=");
        for (const auto* prefix : {"HOME=", "XDG_", "DBUS_", "LANG=", "LC_", "TERM="})
            personal = personal || text.starts_with(prefix);
        if (!personal)
            all.emplace_back(text);
    }
    for (const auto* folder : {"XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"})
        all.push_back(std::string(folder) + "=" + home.path(folder));
    all.push_back("HOME=" + home.path());
    all.emplace_back("LANG=C.UTF-8");
    all.emplace_back("TERM=xterm");
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (auto& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

/// Between fork and exec: only calls that are safe there.
[[noreturn]] void become(int input, int output, int problems, const Surroundings& surroundings,
                         char* const* arguments, char* const* environment) {
    ::setsid(); // or a prompt would find the terminal that the tests run on
    if (surroundings.terminal)
        ::ioctl(input, TIOCSCTTY, 0);
    ::dup2(input, STDIN_FILENO);
    ::dup2(output, STDOUT_FILENO);
    ::dup2(problems, STDERR_FILENO);
    if (!surroundings.everyFolderWritable)
        ::prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE); // without root there is no such right
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE})
        ::signal(number, SIG_DFL);
    ::execve(arguments[0], arguments, environment);
    ::_exit(127);
}

std::array<int, 2> makePipe() {
    std::array<int, 2> ends{-1, -1};
    EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    return ends;
}

/// Makes the pipe a page long and leaves room for a line of some hundred characters, not for two.
void fill(int pipe) {
    constexpr int page = 4096;
    EXPECT_EQ(::fcntl(pipe, F_SETPIPE_SZ, page), page);
    const std::string block(page - 300, '.');
    EXPECT_EQ(::write(pipe, block.data(), block.size()), static_cast<ssize_t>(block.size()));
}

void closeOnce(int& descriptor) {
    if (descriptor >= 0)
        ::close(descriptor);
    descriptor = -1;
}

} // namespace

Program::Program(const TemporaryFolder& home, const std::vector<std::string>& arguments,
                 const Surroundings& surroundings) {
    std::vector<std::string> words{surroundings.program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<std::string> variables = environmentFor(home, surroundings.environment);
    const auto argv = pointersTo(words);
    const auto environment = pointersTo(variables);

    std::array<int, 2> input{-1, -1};
    std::array<int, 2> output{-1, -1};
    std::array<int, 2> problems{-1, -1};
    if (surroundings.terminal) {
        const winsize size{24, 80, 0, 0};
        EXPECT_EQ(::openpty(&m_input, &input[0], nullptr, nullptr, &size), 0);
        ::fcntl(m_input, F_SETFD, FD_CLOEXEC);
        output[1] = problems[1] = input[0];
    } else {
        input = makePipe();
        output = makePipe();
        problems = makePipe();
        m_input = input[1];
        m_outputEnd = output[0];
        m_problemsEnd = problems[0];
        if (surroundings.outputFull)
            fill(output[1]);
    }
    m_pid = ::fork();
    if (m_pid == 0)
        become(input[0], output[1], problems[1], surroundings, argv.data(), environment.data());
    EXPECT_GT(m_pid, 0);
    ::close(input[0]);
    if (!surroundings.terminal) {
        ::close(output[1]);
        ::close(problems[1]);
    }
    if (surroundings.outputFull)
        m_outputEnd = -m_outputEnd; // kept open, but poll(2) passes over it
}

Program::~Program() {
    if (!m_ended) {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
    }
    if (m_outputEnd < -1)
        m_outputEnd = -m_outputEnd;
    closeOnce(m_input);
    closeOnce(m_outputEnd);
    closeOnce(m_problemsEnd);
}

void Program::type(const std::string& text) const {
    EXPECT_EQ(::write(m_input, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

void Program::closeInput() {
    closeOnce(m_input);
}

void Program::closeOutput() {
    closeOnce(m_outputEnd);
}

void Program::signal(int number) const {
    EXPECT_EQ(::kill(m_pid, number), 0);
}

void Program::pump(int milliseconds) {
    const bool terminal = m_problemsEnd < 0;
    pollfd ends[2] = {{terminal ? m_input : m_outputEnd, POLLIN, 0}, {m_problemsEnd, POLLIN, 0}};
    std::string* const texts[2] = {&m_output, &m_problems};
    ::poll(ends, 2, milliseconds);
    for (int i = 0; i < 2; ++i) {
        std::array<char, 65536> buffer{};
        const ssize_t count =
            (ends[i].revents & POLLIN) != 0 ? ::read(ends[i].fd, buffer.data(), buffer.size()) : 0;
        if (count > 0)
            texts[i]->append(buffer.data(), static_cast<std::size_t>(count));
        else if (ends[i].revents != 0) // ended; not to be polled in a circle
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    int status = 0;
    if (m_ended || ::waitpid(m_pid, &status, WNOHANG) != m_pid)
        return;
    m_ended = true;
    m_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    for (std::size_t before = 0; before != m_output.size() + m_problems.size();) {
        before = m_output.size() + m_problems.size();
        pump(0); // what it has left in the pipes
    }
}

bool Program::runsUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
    const auto deadline = Steady::now() + limit;
    while (!done()) {
        if (m_ended || Steady::now() > deadline)
            return false;
        pump(5);
    }
    return true;
}

bool Program::prints(const std::string& text) {
    const auto held = [&] {
        return m_output.find(text) != std::string::npos || m_problems.find(text) != std::string::npos;
    };
    return runsUntil(held) || held();
}

int Program::status(std::chrono::milliseconds limit) {
    return runsUntil([this] { return m_ended; }, limit) ? m_status : -1;
}

bool Program::echoes() const {
    termios settings{};
    return ::tcgetattr(m_input, &settings) == 0 && (settings.c_lflag & ECHO) != 0;
}

std::string Program::commandLine() const {
    return contentOf(procFolder() + "/cmdline");
}

} // namespace tarvo::test
