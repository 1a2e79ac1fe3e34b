// A process that a test starts and ends.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace tarvo::test {

/// Started with plain fork(2): of the way in which QProcess does it the thread sanitizer loses its thread. It
/// ends with the object, and when the test crashes. To be used on the main thread.
class ChildProcess {
public:
    struct Surroundings {
        std::vector<std::string> environment{}; ///< "NAME=VALUE"; empty: the test's own
        int input = -1;                         ///< descriptors; -1: nothing
        int output = -1;
        int problems = -1;
        std::function<void()> settle{}; ///< called in it; makes only calls that are safe after fork(2)
    };

    ChildProcess() = default;

    ~ChildProcess() { end(); }

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// The first word of `command` is an absolute path.
    void start(const std::vector<std::string>& command, const Surroundings& surroundings);

    void signal(int number) const;

    bool hasEnded();

    bool endsWithin(std::chrono::milliseconds limit);

    /// Kills it if it has not ended.
    void end();

    /// Once it has ended: its exit status, or 128 and the number of the signal that ended it.
    int status() const;

    pid_t pid() const { return m_pid; }

private:
    pid_t m_pid = -1;
    bool m_hasEnded = true;
    int m_waitStatus = 0;
};

} // namespace tarvo::test
