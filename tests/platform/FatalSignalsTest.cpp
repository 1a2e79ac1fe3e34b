// Whatever kills the process, and on whichever thread: its last words reach who was to hear them.
#include "platform/FatalSignals.h"

#include <csignal>
#include <cstdlib>
#include <functional>
#include <thread>

#include <gmock/gmock.h>

#include "support/TemporaryFolder.h"

namespace tarvo {

namespace {

// NOLINTNEXTLINE(misc-no-recursion): that is the point
int useUpTheStack(int depth) {
    if (depth < 0) // never: but the compiler need not know
        return 0;
    volatile char room[4096]{};
    room[0] = static_cast<char>(depth);
    return useUpTheStack(depth + 1) + room[0];
}

void writeNowhere() {
    volatile auto* nowhere = reinterpret_cast<volatile int*>(16);
    *nowhere = 1;
}

} // namespace

TEST(FatalSignalsDeathTest, AreToldOfAndKillNonetheless) {
    const test::TemporaryFolder folder;

    const struct {
        const char* words;
        std::function<void()> fault;
    } cases[]{
        {"SIGSEGV at address 0x10\n", [] { writeNowhere(); }},
        {"SIGSEGV at address 0x10\n", [] { std::thread(writeNowhere).join(); }},
        {"SIGSEGV at address 0x7f", [] { useUpTheStack(0); }},
        {"SIGABRT\n", [] { std::abort(); }},
    };

    for (const auto& [words, fault] : cases) {
        const std::string file = folder.path("words");
        EXPECT_DEATH(
            {
                reportFatalSignals("/bin/sh", {"sh", "-c", "exec cat >" + file});
                fault();
            },
            "");
        EXPECT_THAT(test::contentOf(file), ::testing::HasSubstr(words));
        EXPECT_THAT(test::contentOf(file), ::testing::HasSubstr("libc.so.6("));
    }
}

} // namespace tarvo
