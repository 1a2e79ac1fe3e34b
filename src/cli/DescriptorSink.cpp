#include "cli/DescriptorSink.h"

#include "base/Localized.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <climits>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarvo {

namespace {

constexpr int kLookMs = 100;

bool isFile(int descriptor) {
    struct stat status {};

    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

} // namespace

DescriptorSink::DescriptorSink(int descriptor) : m_descriptor(descriptor), m_mayWait(!isFile(descriptor)) {
}

Result<void> DescriptorSink::write(std::span<const char> data) {
    // A pipe that is ready takes so much without waiting (pipe(7)), and a write that waits can't be ended.
    const std::size_t most = m_mayWait ? PIPE_BUF : data.size();
    while (!data.empty()) {
        if (m_isStopped)
            return failure(Error::alreadyStopped());
        if (m_mayWait && !isReady())
            continue;
        const ssize_t written = ::write(m_descriptor, data.data(), std::min(most, data.size()));
        if (written >= 0)
            data = data.subspan(static_cast<std::size_t>(written));
        else if (errno != EINTR && errno != EAGAIN)
            return failure(Error{std::string(ErrorDomain::Posix), errno,
                                 localized("tr.get.no-output", {std::strerror(errno)}), ""});
    }
    return {};
}

bool DescriptorSink::isReady() const {
    pollfd output{m_descriptor, POLLOUT, 0};
    return ::poll(&output, 1, kLookMs) > 0;
}

} // namespace tarvo
