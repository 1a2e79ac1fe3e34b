#include "base/ProcessLimits.h"

#include "base/Log.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <future>
#include <system_error>
#include <thread>
#include <vector>

#include <pwd.h>
#include <sys/resource.h>
#include <unistd.h>

namespace tarvo {

namespace {

// Standard streams, settings, log, wake-ups, the bundle's file and lock, flushes, a few connections.
constexpr rlim_t kFewestFiles = 32;

} // namespace

void raiseOpenFilesLimit() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == limit.rlim_max)
        return;
    limit.rlim_cur = limit.rlim_max;
    if (::setrlimit(RLIMIT_NOFILE, &limit) != 0)
        Log::warning("Could not raise the limit of open files: {}", std::strerror(errno));
}

bool mayOpenEnoughFiles() {
    rlimit limit{};
    return ::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= kFewestFiles;
}

bool mayStartThreads(std::size_t count) {
    std::promise<void> end;
    const std::shared_future<void> ended = end.get_future().share();
    std::vector<std::thread> threads;
    try { // the way in which the library tells it
        while (threads.size() < count)
            threads.emplace_back([ended] { ended.wait(); });
    } catch (const std::system_error&) {
        Log::warning("No more than {} threads could be started", threads.size());
    }
    end.set_value();
    for (auto& thread : threads)
        thread.join();
    return threads.size() == count;
}

void surviveFileSizeLimit() {
    ::signal(SIGXFSZ, SIG_IGN);
}

std::optional<std::string> findHomeFolder() {
    if (const char* home = std::getenv("HOME"); home && *home == '/')
        return home;
    const passwd* user = ::getpwuid(::getuid()); // NOLINT(concurrency-mt-unsafe): there is one thread yet
    if (!user || !user->pw_dir || *user->pw_dir != '/')
        return std::nullopt;
    ::setenv("HOME", user->pw_dir, 1); // NOLINT(concurrency-mt-unsafe)
    return user->pw_dir;
}

} // namespace tarvo
