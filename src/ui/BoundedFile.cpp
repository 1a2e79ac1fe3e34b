#include "ui/BoundedFile.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarvo {

Result<std::unique_ptr<BoundedFile>> BoundedFile::open(const std::string& path, const Limits& limits,
                                                       const std::atomic<bool>& cancelled) {
    FileHandle file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));

    struct stat status {};

    if (!file || ::fstat(file.descriptor(), &status) != 0)
        return failure(Error::posix(errno, "open", path));
    if (!S_ISREG(status.st_mode))
        return failure(Error::posix(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, "read", path));
    std::unique_ptr<BoundedFile> bounded(new BoundedFile(std::move(file), status.st_size, limits, cancelled));
    bounded->QIODevice::open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    return bounded;
}

BoundedFile::BoundedFile(FileHandle file, std::int64_t fileSize, const Limits& limits,
                         const std::atomic<bool>& cancelled)
    : m_file(std::move(file)), m_fileSize(fileSize), m_length(std::min(fileSize, limits.length)),
      m_left(limits.mostRead), m_end(std::chrono::steady_clock::now() + limits.time), m_cancelled(cancelled) {
}

std::int64_t BoundedFile::readAt(std::int64_t offset, char* data, std::int64_t most) {
    const std::int64_t there = std::min(most, m_length - offset);
    if (there <= 0)
        return 0;
    const std::int64_t count = std::min(there, m_left);
    if (m_cancelled || count <= 0 || std::chrono::steady_clock::now() > m_end) {
        m_wasCut = true;
        return -1;
    }
    const ssize_t read = ::pread(m_file.descriptor(), data, static_cast<std::size_t>(count), offset);
    m_left -= std::max<ssize_t>(read, 0);
    return read;
}

} // namespace tarvo
