// tarvo-sample-server SIZE [--rate BYTES_PER_SECOND]: serves one file on the loopback address. Prints one
// line, the file's address and its SHA-256, and runs until SIGTERM or SIGINT, or until a pipe that is its
// standard input is closed: it doesn't outlive a script that was killed.
#include "support/FaultServer.h"
#include "support/SampleData.h"

#include <cstdio>
#include <cstdlib>

#include <poll.h>
#include <unistd.h>

int main(int argc, char** argv) {
    const long long size = argc > 1 ? std::atoll(argv[1]) : 0;
    const bool hasRate = argc == 4 && std::string_view(argv[2]) == "--rate";
    if (size < 1 || (argc != 2 && !hasRate)) {
        std::fprintf(stderr, "usage: tarvo-sample-server SIZE [--rate BYTES_PER_SECOND]\n");
        return 2;
    }
    tarvo::test::FaultServer server;
    if (hasRate)
        server.change("/file/" + std::to_string(size) + "/sample.bin", std::string("rate=") + argv[3]);
    std::printf("%s %s\n", server.url(size).c_str(), tarvo::test::sampleSha256(size).c_str());
    std::fflush(stdout);
    // Of /dev/null, or of a terminal that a background job must not read, no end is ever told.
    pollfd input{STDIN_FILENO, 0, 0};
    while (input.revents == 0)
        ::poll(&input, 1, -1);
    return 0;
}
