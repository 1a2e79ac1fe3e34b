// A real server as a child process of the test, on a loopback address of the test's own.
#pragma once

#include "support/ChildProcess.h"
#include "support/TemporaryFolder.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tarvo::test {

/// The address that the servers of this process listen on: one of 127.0.0.0/8 made from the process's
/// number, so that no other test can be given the same port between our finding it free and the server's
/// taking it.
std::string loopbackAddress();

/// A port that is free on loopbackAddress().
int freePort();

/// The path of an installed program, looked for in the system folders too. Fails the test, naming the
/// Debian package, and answers the bare name when there is none.
std::string programPath(const std::string& name, const std::string& package);

/// Runs a program to its end; fails the test with the program's own words when it fails.
void runProgram(const std::vector<std::string>& command);

/// A program that runs until the object is destroyed. Whatever it has started ends with it; it ends, too,
/// when the test crashes. To be made and destroyed on the main thread.
class ServerProcess {
public:
    ~ServerProcess() { stop(); }

    /// Starts `command` (its first word an absolute path) and waits until it listens on all of `ports`.
    /// Its output goes to the file at `logPath`. Fails the test when it doesn't come up.
    void start(const std::vector<std::string>& command, const std::string& logPath,
               const std::vector<int>& ports);

    /// It and whatever it has started stand still: the kernel still takes connections and keeps those that
    /// are there, but no answer comes any more.
    void freeze() const;

    /// SIGTERM, and SIGKILL for what is still there a fifth of a second later.
    void stop();

private:
    ChildProcess m_process;
};

/// What the servers of files have in common: a folder of sample files, and a process that listens.
class FileServer {
public:
    FileServer();

    /// Makes a file of `size` bytes of sample data.
    void addFile(const std::string& name, std::int64_t size) const;

    /// Puts a file of this version of the sample data in the place of the one that is there, as a rename
    /// does. It says that it was changed `version` seconds after 2026 began.
    void replaceFile(const std::string& name, std::int64_t size, std::int64_t version) const;

    void addFolder(const std::string& name) const;

    void freeze() const { m_process.freeze(); }

    void stop() { m_process.stop(); }

protected:
    TemporaryFolder m_folder; // with the folder "files"
    int m_port = freePort();
    ServerProcess m_process;
};

} // namespace tarvo::test
