// What runs in the signal handler makes system calls and nothing else (signal-safety(7)); all it needs is got
// ready before.
#include "platform/FatalSignals.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <execinfo.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tarvo {

namespace {

constexpr std::array kFatalSignals{SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};
constexpr int kMostCalls = 64;
constexpr std::size_t kStackSize = std::size_t{128} << 10; // enough to walk the calls of another stack
constexpr unsigned kLongestReport = 10;                    // seconds

struct Reporter {
    std::string program;
    std::vector<std::string> names;
    std::vector<char*> arguments; // into `names`, as execve(2) wants them
    std::array<struct sigaction, kFatalSignals.size()> previous{};
};

Reporter* reporter = nullptr; // never freed: a fault may come at the very end
std::atomic_flag reporting = ATOMIC_FLAG_INIT;

void say(int pipe, std::string_view text) {
    [[maybe_unused]] const auto ignored = ::write(pipe, text.data(), text.size());
}

void sayNumber(int pipe, std::uintptr_t number, unsigned base) {
    std::array<char, 24> digits{};
    std::size_t at = digits.size();
    do {
        digits[--at] = "0123456789abcdef"[number % base];
        number /= base;
    } while (number != 0);
    say(pipe, {&digits[at], digits.size() - at});
}

[[noreturn]] void becomeReporter(int input) {
    ::dup2(input, STDIN_FILENO);
    ::close_range(STDERR_FILENO + 1, ~0U, 0); // among them the locks that the next program waits for
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::execve(reporter->program.c_str(), reporter->arguments.data(), environ);
    ::_exit(EXIT_FAILURE);
}

void tell(int pipe, int signal, const siginfo_t& info) {
    say(pipe, "Signal: ");
    sayNumber(pipe, static_cast<std::uintptr_t>(signal), 10);
    const char* name = ::sigabbrev_np(signal);
    say(pipe, " SIG");
    say(pipe, name ? name : "?");
    if (info.si_code > 0 && signal != SIGABRT) {
        say(pipe, " at address 0x");
        sayNumber(pipe, reinterpret_cast<std::uintptr_t>(info.si_addr), 16);
    } else if (info.si_pid != ::getpid()) {
        say(pipe, " sent by process ");
        sayNumber(pipe, static_cast<std::uintptr_t>(info.si_pid), 10);
    }
    say(pipe, "\n\nCalls, the last one first:\n");
    std::array<void*, kMostCalls> calls{};
    ::backtrace_symbols_fd(calls.data(), ::backtrace(calls.data(), kMostCalls), pipe);
}

void report(int signal, const siginfo_t& info) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        return;
    const pid_t process = ::_Fork(); // unlike fork(), safe here: it runs no handlers of its own
    if (process == 0)
        becomeReporter(ends[0]);
    ::close(ends[0]);
    if (process > 0)
        tell(ends[1], signal, info);
    ::close(ends[1]);
    while (process > 0 && ::waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
    }
}

void onFatalSignal(int signal, siginfo_t* info, void*) {
    while (reporting.test_and_set())
        ::pause(); // another thread has come to its end before, and the process with it
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGALRM, SIG_DFL); // ends a report that gets stuck, and the process
    ::alarm(kLongestReport);
    report(signal, *info);
    // Now as it would have been. A fault comes again by itself, and with it the place that a debugger looks
    // for.
    for (std::size_t i = 0; i < kFatalSignals.size(); ++i)
        ::sigaction(kFatalSignals[i], &reporter->previous[i], nullptr);
    if (info->si_code <= 0)
        ::raise(signal);
}

/// Without a stack of its own the handler could not run when the usual one is used up.
void provideStack() {
    stack_t present{};
    if (::sigaltstack(nullptr, &present) != 0 || (present.ss_flags & SS_DISABLE) == 0)
        return;
    static std::array<char, kStackSize> stack;
    stack_t mine{};
    mine.ss_sp = stack.data();
    mine.ss_size = stack.size();
    ::sigaltstack(&mine, nullptr);
}

} // namespace

void reportFatalSignals(std::string program, std::vector<std::string> arguments) {
    reporter = new Reporter{std::move(program), std::move(arguments), {}, {}};
    for (auto& name : reporter->names)
        reporter->arguments.push_back(name.data());
    reporter->arguments.push_back(nullptr);
    std::array<void*, 1> call{};
    ::backtrace(call.data(), 1); // loads what it needs, which the handler could not
    provideStack();

    struct sigaction action {};

    action.sa_sigaction = onFatalSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    for (const int signal : kFatalSignals)
        sigaddset(&action.sa_mask, signal); // a fault while reporting ends the process at once
    for (std::size_t i = 0; i < kFatalSignals.size(); ++i)
        ::sigaction(kFatalSignals[i], &action, &reporter->previous[i]);
}

} // namespace tarvo
