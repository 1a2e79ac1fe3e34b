// A child process with steps of its own between fork and exec, for its terminal.
#include "Program.h"

#include "support/TurnUntil.h"

#include <csignal>
#include <filesystem>

#include <QProcessEnvironment>
#include <QRegularExpression>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace tarvo::test {

namespace {

std::vector<std::string> environmentFor(const TemporaryFolder& home, const std::vector<std::string>& more) {
    static const QRegularExpression passedOn("^(?!HOME=|XDG_|DBUS_|LANG|LC_|TERM=|NO_COLOR=|\\w*_proxy=)");
    std::vector<std::string> environment = more;
    for (const QString& variable : QProcessEnvironment::systemEnvironment().toStringList().filter(passedOn))
        environment.push_back(variable.toStdString());
    for (const std::string folder : {"XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"})
        environment.push_back(folder + "=" + home.path(folder));
    environment.insert(environment.end(), {"HOME=" + home.path(), "LANG=C.UTF-8", "TERM=xterm"});
    return environment;
}

/// In the child: only calls that are safe there.
void settle(bool hasTerminal) {
    ::setsid(); // or a prompt would find the terminal that the tests run on
    if (hasTerminal)
        ::ioctl(STDIN_FILENO, TIOCSCTTY, 0);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE})
        ::signal(number, SIG_DFL);
}

struct Pipe {
    Pipe() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
        read = FileHandle(ends[0]);
        write = FileHandle(ends[1]);
    }

    FileHandle read;
    FileHandle write;
};

/// What has come to be read, without waiting.
void appendWhatIsThere(std::string& text, const FileHandle& end) {
    ::fcntl(end.descriptor(), F_SETFL, O_NONBLOCK);
    char block[4096];
    for (ssize_t count = 0; (count = ::read(end.descriptor(), block, sizeof block)) > 0;)
        text.append(block, static_cast<std::size_t>(count));
}

} // namespace

std::string writeSettings(const TemporaryFolder& home, const std::string& lines) {
    std::filesystem::create_directories(home.path("XDG_CONFIG_HOME/tarvo"));
    return home.write("XDG_CONFIG_HOME/tarvo/tarvo.conf",
                      "[General]\n" + lines + "DefaultDirectory=" + home.path("files") + "\n");
}

Program::Program(const TemporaryFolder& home, const std::vector<std::string>& arguments,
                 const Surroundings& surroundings) {
    std::vector<std::string> command{surroundings.program};
    command.insert(command.end(), arguments.begin(), arguments.end());
    ChildProcess::Surroundings around{.environment = environmentFor(home, surroundings.environment),
                                      .settle = [terminal = surroundings.terminal] { settle(terminal); }};
    if (surroundings.terminal) {
        int keyboard = -1;
        int terminal = -1;
        const winsize size{24, 80, 0, 0};
        EXPECT_EQ(::openpty(&keyboard, &terminal, nullptr, nullptr, &size), 0);
        ::fcntl(keyboard, F_SETFD, FD_CLOEXEC);
        m_terminal = FileHandle(keyboard);
        const FileHandle otherSide(terminal);
        around.input = around.output = around.problems = terminal;
        m_process.start(command, around);
        return;
    }
    Pipe input;
    Pipe output;
    Pipe problems;
    around.input = input.read.descriptor();
    around.output = output.write.descriptor();
    around.problems = problems.write.descriptor();
    m_process.start(command, around);
    m_input = std::move(input.write);
    m_problemsEnd = std::move(problems.read);
    m_outputEnd = std::move(output.read);
}

void Program::type(const std::string& text) {
    const FileHandle& keyboard = m_terminal ? m_terminal : m_input;
    EXPECT_EQ(::write(keyboard.descriptor(), text.data(), text.size()), std::ssize(text));
}

void Program::closeInput() {
    m_input.close();
    m_terminal.close();
}

void Program::collect() {
    appendWhatIsThere(m_output, m_terminal);
    appendWhatIsThere(m_output, m_outputEnd);
    appendWhatIsThere(m_problems, m_problemsEnd);
}

bool Program::runsUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
    const auto isOver = [&] {
        const bool ended = m_process.hasEnded(); // before what it has left is read
        collect();
        return done() || ended;
    };
    return turnUntil(isOver, limit) && done();
}

bool Program::prints(const std::string& text) {
    return runsUntil([&] { return (m_output + '\0' + m_problems).find(text) != std::string::npos; });
}

int Program::status(std::chrono::milliseconds limit) {
    if (!runsUntil([this] { return m_process.hasEnded(); }, limit))
        return -1;
    collect();
    return m_process.status();
}

bool Program::echoes() const {
    termios settings{};
    return ::tcgetattr(m_terminal.descriptor(), &settings) == 0 && (settings.c_lflag & ECHO) != 0;
}

double Program::processorTime() const {
    const QString stat = QString::fromStdString(contentOf(procFolder() + "/stat"));
    const QStringList fields = stat.mid(stat.lastIndexOf(')') + 2).split(' '); // from the third on: proc(5)
    return fields.size() < 13
               ? 0.0
               : (fields[11].toDouble() + fields[12].toDouble()) / double(::sysconf(_SC_CLK_TCK));
}

std::string Program::commandLine() const {
    return contentOf(procFolder() + "/cmdline");
}

} // namespace tarvo::test
