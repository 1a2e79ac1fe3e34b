// tarvo-measure REPORT COMMAND [ARGUMENT…]: runs the command, then appends one line to the file REPORT:
// seconds on the monotonic clock, seconds of processor time (user and system), KiB of resident memory at the
// peak. What the command started and waited for counts, for the memory whichever process had most. The exit
// status is the command's, 128 + n on signal n.
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

namespace {

double secondsOf(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

int complain(const char* what, int errorNumber) {
    std::fprintf(stderr, "tarvo-measure: %s: %s\n", what, std::strerror(errorNumber));
    return 125;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fputs("Usage: tarvo-measure REPORT COMMAND [ARGUMENT…]\n", stderr);
        return 125;
    }
    const auto start = std::chrono::steady_clock::now();
    pid_t child = 0;
    // Not fork: the peak would begin with a copy of this process.
    if (const int problem = posix_spawnp(&child, argv[2], nullptr, nullptr, argv + 2, environ); problem != 0)
        return complain(argv[2], problem);
    int status = 0;
    rusage usage = {};
    while (wait4(child, &status, 0, &usage) < 0) {
        if (errno != EINTR)
            return complain("wait4", errno);
    }
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;

    std::FILE* report = std::fopen(argv[1], "ae");
    if (report == nullptr)
        return complain(argv[1], errno);
    std::fprintf(report, "%.4f %.4f %ld\n", wall.count(),
                 secondsOf(usage.ru_utime) + secondsOf(usage.ru_stime), usage.ru_maxrss);
    if (std::fclose(report) != 0)
        return complain(argv[1], errno);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
