// A built program as a child process, and everything a person or a script can do to it.
#pragma once

#include "base/Disk.h"
#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace tarvo::test {

/// What the program finds around it.
struct Surroundings {
    bool terminal = false;                  ///< a terminal of its own instead of pipes
    std::vector<std::string> environment{}; ///< "NAME=VALUE"
    std::string program = TARVO_PROGRAM;
};

/// Puts `lines` into the settings in `home`; downloads go into its folder "files". Answers the file's path.
std::string writeSettings(const TemporaryFolder& home, const std::string& lines);

/// One run. Its home, settings and logs are in a folder of the test's; there is no session bus. It ends with
/// the object at the latest.
class Program {
public:
    Program(const TemporaryFolder& home, const std::vector<std::string>& arguments,
            const Surroundings& surroundings = {});

    /// Writes to its terminal or standard input.
    void type(const std::string& text);

    /// No more input; of a terminal: hangs up.
    void closeInput();

    /// No program reads its standard output any more.
    void closeOutput() { m_outputEnd.close(); }

    void signal(int number) const { m_process.signal(number); }

    /// Reads what it prints until that holds `text`.
    bool prints(const std::string& text);

    /// Reads what it prints until `done` answers true; false when that took too long or the program has ended
    /// without it.
    bool runsUntil(const std::function<bool()>& done,
                   std::chrono::milliseconds limit = std::chrono::seconds(30));

    /// Waits for its end: the exit status, 128 and the number of the signal that ended it, or -1 when it did
    /// not end in time.
    int status(std::chrono::milliseconds limit = std::chrono::seconds(30));

    /// Standard output, or what has been written to the terminal.
    const std::string& output() const { return m_output; }

    const std::string& problems() const { return m_problems; }

    /// Whether its terminal shows what is typed.
    bool echoes() const;

    /// The processor time that it has taken so far, in seconds; 0 once it has ended.
    double processorTime() const;

    /// Its arguments as every user of the machine sees them.
    std::string commandLine() const;

private:
    /// Where the kernel tells about it (proc(5)).
    std::string procFolder() const { return "/proc/" + std::to_string(m_process.pid()); }

    void collect();

    ChildProcess m_process;
    FileHandle m_terminal; // its keyboard and screen
    FileHandle m_input;
    FileHandle m_outputEnd;
    FileHandle m_problemsEnd;
    std::string m_output;
    std::string m_problems;
};

} // namespace tarvo::test
