#include "base/ProcessLimits.h"

#include "base/Log.h"

#include <cerrno>
#include <cstring>

#include <sys/resource.h>

namespace tarvo {

void raiseOpenFilesLimit() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == limit.rlim_max)
        return;
    limit.rlim_cur = limit.rlim_max;
    if (::setrlimit(RLIMIT_NOFILE, &limit) != 0)
        Log::warning("Could not raise the limit of open files: {}", std::strerror(errno));
}

} // namespace tarvo
