// A child process with steps of its own between fork and exec, for its terminal.
#include "Program.h"

#include "support/TurnUntil.h"

#include <csignal>

#include <QRegularExpression>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace tarvo::test {

namespace {

QProcessEnvironment environmentFor(const TemporaryFolder& home, const std::vector<std::string>& more) {
    static const QRegularExpression personal("^(HOME$|XDG_|DBUS_|LANG|LC_|TERM$|NO_COLOR$|.*_proxy$)");
    auto all = QProcessEnvironment::systemEnvironment();
    for (const QString& name : all.keys().filter(personal))
        all.remove(name);
    for (const char* folder : {"XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"})
        all.insert(folder, QString::fromStdString(home.path(folder)));
    all.insert("HOME", QString::fromStdString(home.path()));
    all.insert("LANG", "C.UTF-8");
    all.insert("TERM", "xterm");
    for (const std::string& variable : more) {
        const QString text = QString::fromStdString(variable);
        all.insert(text.section('=', 0, 0), text.section('=', 1));
    }
    return all;
}

/// Between fork and exec: only calls that are safe there. A descriptor of -1 stays as it is.
void settle(int terminal, int output) {
    ::setsid(); // or a prompt would find the terminal that the tests run on
    if (terminal >= 0)
        ::ioctl(terminal, TIOCSCTTY, 0);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        ::dup2(terminal, standard);
    ::dup2(output, STDOUT_FILENO);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE})
        ::signal(number, SIG_DFL);
}

/// A pipe of a page with room for a line of some hundred characters, not for two: the end to write to.
FileHandle makeFullPipe(FileHandle& otherEnd) {
    constexpr int page = 4096;
    int ends[2] = {-1, -1};
    EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    otherEnd = FileHandle(ends[0]);
    EXPECT_EQ(::fcntl(ends[1], F_SETPIPE_SZ, page), page);
    const std::string block(page - 300, '.');
    EXPECT_EQ(::write(ends[1], block.data(), block.size()), std::ssize(block));
    return FileHandle(ends[1]);
}

} // namespace

Program::Program(const TemporaryFolder& home, const std::vector<std::string>& arguments,
                 const Surroundings& surroundings) {
    QStringList words;
    for (const std::string& argument : arguments)
        words.push_back(QString::fromStdString(argument));
    int keyboard = -1;
    int terminal = -1;
    if (surroundings.terminal) {
        const winsize size{24, 80, 0, 0};
        EXPECT_EQ(::openpty(&keyboard, &terminal, nullptr, nullptr, &size), 0);
        ::fcntl(keyboard, F_SETFD, FD_CLOEXEC);
        ::fcntl(keyboard, F_SETFL, O_NONBLOCK);
    }
    m_terminal = FileHandle(keyboard);
    const FileHandle otherSide(terminal);
    const FileHandle output = surroundings.outputFull ? makeFullPipe(m_fullPipe) : FileHandle();
    m_process.setProcessEnvironment(environmentFor(home, surroundings.environment));
    m_process.setChildProcessModifier([terminal, end = output.descriptor()] { settle(terminal, end); });
    m_process.start(QString::fromStdString(surroundings.program), words);
    EXPECT_TRUE(m_process.waitForStarted());
    m_pid = static_cast<pid_t>(m_process.processId());
}

Program::~Program() {
    m_process.kill();
    m_process.waitForFinished();
}

void Program::type(const std::string& text) {
    if (m_terminal.descriptor() < 0)
        m_process.write(text.data(), std::ssize(text));
    else
        EXPECT_EQ(::write(m_terminal.descriptor(), text.data(), text.size()), std::ssize(text));
}

void Program::closeInput() {
    m_process.closeWriteChannel();
    m_terminal.close();
}

void Program::signal(int number) const {
    EXPECT_TRUE(m_pid > 0 && ::kill(m_pid, number) == 0);
}

void Program::collect() {
    m_output += m_process.readAllStandardOutput().toStdString();
    m_problems += m_process.readAllStandardError().toStdString();
    char block[4096];
    for (ssize_t count = 0; (count = ::read(m_terminal.descriptor(), block, sizeof block)) > 0;)
        m_output.append(block, static_cast<std::size_t>(count));
}

bool Program::runsUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
    const auto isOver = [&] {
        const bool ended = hasEnded(); // before what it has left is read
        collect();
        return done() || ended;
    };
    return turnUntil(isOver, limit) && done();
}

bool Program::prints(const std::string& text) {
    return runsUntil([&] { return (m_output + '\0' + m_problems).find(text) != std::string::npos; });
}

int Program::status(std::chrono::milliseconds limit) {
    if (!runsUntil([this] { return hasEnded(); }, limit))
        return -1;
    collect();
    return m_process.exitCode() + (m_process.exitStatus() == QProcess::CrashExit ? 128 : 0);
}

bool Program::echoes() const {
    termios settings{};
    return ::tcgetattr(m_terminal.descriptor(), &settings) == 0 && (settings.c_lflag & ECHO) != 0;
}

std::string Program::commandLine() const {
    return contentOf(procFolder() + "/cmdline");
}

} // namespace tarvo::test
