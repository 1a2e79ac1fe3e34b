// tarvo-sample-server SIZE [--rate BYTES_PER_SECOND]: serves one file on the loopback address. Prints one
// line, the file's address and its SHA-256, and runs until SIGTERM or SIGINT, or until a pipe that is its
// standard input is closed: it doesn't outlive a script that was killed.
#include "support/FaultServer.h"
#include "support/SampleData.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Before any thread starts, so that none of them takes the signals.
int endingSignals() {
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGINT);
    sigprocmask(SIG_BLOCK, &ending, nullptr);
    return signalfd(-1, &ending, SFD_CLOEXEC);
}

/// A background job's standard input is /dev/null or a terminal that it must not read: neither ends it.
bool inputIsPipe() {
    struct stat input {};

    return fstat(STDIN_FILENO, &input) == 0 && (S_ISFIFO(input.st_mode) || S_ISSOCK(input.st_mode));
}

void waitForTheEnd(int signals) {
    pollfd watched[2] = {{signals, POLLIN, 0}, {inputIsPipe() ? STDIN_FILENO : -1, POLLIN, 0}};
    char ignored[256];
    while (watched[0].revents == 0) {
        poll(watched, 2, -1);
        if (watched[1].revents != 0 && read(STDIN_FILENO, ignored, sizeof ignored) <= 0)
            return;
    }
}

} // namespace

int main(int argc, char** argv) {
    const long long size = argc > 1 ? std::atoll(argv[1]) : 0;
    const bool hasRate = argc == 4 && std::string_view(argv[2]) == "--rate";
    if (size < 1 || (argc != 2 && !hasRate)) {
        std::fprintf(stderr, "usage: tarvo-sample-server SIZE [--rate BYTES_PER_SECOND]\n");
        return 2;
    }
    const int signals = endingSignals();
    tarvo::test::FaultServer server;
    if (hasRate)
        server.change("/file/" + std::to_string(size) + "/sample.bin", std::string("rate=") + argv[3]);
    std::printf("%s %s\n", server.url(size).c_str(), tarvo::test::sampleSha256(size).c_str());
    std::fflush(stdout);
    waitForTheEnd(signals);
    return server.problems().empty() ? 0 : 1;
}
