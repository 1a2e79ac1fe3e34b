#include "support/ChildProcess.h"

#include "support/TurnUntil.h"

#include <csignal>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tarvo::test {

namespace {

std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (const auto& text : texts)
        pointers.push_back(const_cast<char*>(text.c_str()));
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace

void ChildProcess::start(const std::vector<std::string>& command, const Surroundings& surroundings) {
    end();
    const auto words = pointersTo(command);
    const auto variables = pointersTo(surroundings.environment);
    const pid_t parent = ::getpid();
    m_pid = ::fork();
    if (m_pid != 0) {
        EXPECT_GT(m_pid, 0);
        m_hasEnded = m_pid < 0;
        return;
    }
    // From here on only what is allowed after fork() in a process with threads.
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != parent)
        ::_exit(127);
    const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    const int descriptors[] = {surroundings.input, surroundings.output, surroundings.problems};
    for (int standard = 0; standard < 3; ++standard)
        ::dup2(descriptors[standard] < 0 ? nothing : descriptors[standard], standard);
    if (surroundings.settle)
        surroundings.settle();
    ::execve(words[0], words.data(), surroundings.environment.empty() ? environ : variables.data());
    ::_exit(127);
}

void ChildProcess::signal(int number) const {
    EXPECT_TRUE(m_pid > 0 && ::kill(m_pid, number) == 0);
}

bool ChildProcess::hasEnded() {
    m_hasEnded = m_hasEnded || ::waitpid(m_pid, &m_waitStatus, WNOHANG) == m_pid;
    return m_hasEnded;
}

bool ChildProcess::endsWithin(std::chrono::milliseconds limit) {
    return turnUntil([this] { return hasEnded(); }, limit);
}

void ChildProcess::end() {
    if (hasEnded())
        return;
    ::kill(m_pid, SIGKILL);
    ::waitpid(m_pid, &m_waitStatus, 0);
    m_hasEnded = true;
}

int ChildProcess::status() const {
    return WIFSIGNALED(m_waitStatus) ? 128 + WTERMSIG(m_waitStatus) : WEXITSTATUS(m_waitStatus);
}

} // namespace tarvo::test
