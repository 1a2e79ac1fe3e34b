// tarvo-sample-server SIZE [--rate BYTES_PER_SECOND]: serves one file on the loopback address. Prints one
// line, the file's address and its SHA-256, and runs until SIGTERM or SIGINT, or until a pipe that is its
// standard input is closed: it doesn't outlive a script that was killed.
#include "support/FaultServer.h"
#include "support/SampleData.h"

#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct Options {
    std::int64_t size = 0;
    std::optional<std::int64_t> rate; // bytes per second, for each connection
};

std::optional<std::int64_t> numberIn(std::string_view text) {
    std::int64_t number = 0;
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (problem != std::errc() || end != text.data() + text.size() || number < 1)
        return std::nullopt;
    return number;
}

std::optional<Options> readOptions(std::span<char*> arguments) {
    if (arguments.size() != 2 && arguments.size() != 4)
        return std::nullopt;
    const auto size = numberIn(arguments[1]);
    if (!size)
        return std::nullopt;
    Options options{*size, std::nullopt};
    if (arguments.size() == 4) {
        options.rate = numberIn(arguments[3]);
        if (std::string_view(arguments[2]) != "--rate" || !options.rate)
            return std::nullopt;
    }
    return options;
}

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
    while (true) {
        if (poll(watched, 2, -1) < 0)
            continue;
        if (watched[0].revents != 0)
            return;
        char ignored[256];
        if (watched[1].revents != 0 && read(STDIN_FILENO, ignored, sizeof ignored) <= 0)
            return;
    }
}

} // namespace

int main(int argc, char** argv) {
    const auto options = readOptions({argv, static_cast<std::size_t>(argc)});
    if (!options) {
        std::fprintf(stderr, "usage: tarvo-sample-server SIZE [--rate BYTES_PER_SECOND]\n");
        return 2;
    }
    const int signals = endingSignals();
    tarvo::test::FaultServer server;
    for (const std::string& problem : server.problems()) {
        std::fprintf(stderr, "tarvo-sample-server: %s\n", problem.c_str());
        return 1;
    }
    const std::string path = "/file/" + std::to_string(options->size) + "/sample.bin";
    if (options->rate)
        server.change(path, "rate=" + std::to_string(*options->rate));
    const std::string digest = tarvo::test::sampleSha256(options->size);
    std::printf("%s %s\n", server.address(path).c_str(), digest.c_str());
    std::fflush(stdout);
    waitForTheEnd(signals);
    return 0;
}
