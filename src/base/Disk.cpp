#include "base/Disk.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarvo {

namespace {

tl::unexpected<Error> posixFailure(std::string_view operation, const std::string& path) {
    return failure(Error::posix(errno, operation, path));
}

} // namespace

void FileHandle::close() {
    if (m_descriptor >= 0)
        ::close(std::exchange(m_descriptor, -1));
}

Result<FileHandle> Disk::openLocked(const std::string& path, std::chrono::milliseconds patience) {
    constexpr std::chrono::milliseconds pause{10};
    for (auto waited = pause * 0;; waited += pause) {
        auto file = openOrCreate(path);
        if (!file)
            return file;
        const auto locked = lockExclusively(file->descriptor(), path);
        // Its last holder may have moved or removed it.
        if (locked && isStillAt(file->descriptor(), path))
            return file;
        if (!locked && !locked.error().is(ErrorDomain::Posix, EWOULDBLOCK))
            return failure(locked.error());
        if (waited >= patience)
            return failure(Error::posix(EWOULDBLOCK, "lock", path));
        std::this_thread::sleep_for(pause);
    }
}

bool Disk::isStillAt(int descriptor, const std::string& path) {
    struct stat open {};

    struct stat present {};

    return ::fstat(descriptor, &open) == 0 && ::lstat(path.c_str(), &present) == 0 &&
           open.st_ino == present.st_ino && open.st_dev == present.st_dev;
}

std::int64_t Disk::lengthOf(int descriptor) {
    struct stat status {};

    return ::fstat(descriptor, &status) == 0 ? status.st_size : -1;
}

std::int64_t Disk::lengthOfFile(const std::string& path) {
    struct stat status {};

    return ::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) ? status.st_size : -1;
}

std::int64_t Disk::modificationTimeOf(const std::string& path) {
    struct stat status {};

    return ::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) ? status.st_mtim.tv_sec : -1;
}

Result<std::string> Disk::readAt(int descriptor, std::int64_t offset, std::size_t count,
                                 const std::string& path) {
    std::string bytes(count, '\0');
    std::size_t have = 0;
    while (have < count) {
        const ssize_t got =
            ::pread(descriptor, bytes.data() + have, count - have, offset + static_cast<std::int64_t>(have));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return posixFailure("read", path);
        if (got == 0)
            break;
        have += static_cast<std::size_t>(got);
    }
    bytes.resize(have);
    return bytes;
}

std::optional<std::uint32_t> Disk::ownerOfNewFilesIn(const std::string& folder) {
    std::string name = folder + "/.tarvo-XXXXXX";
    const FileHandle file(::mkostemp(name.data(), O_CLOEXEC));

    struct stat status {};

    if (!file || ::fstat(file.descriptor(), &status) != 0)
        return std::nullopt;
    ::unlink(name.c_str());
    return status.st_uid;
}

bool Disk::removeEmptyFolder(const std::string& path) {
    return ::rmdir(path.c_str()) == 0;
}

Result<void> Disk::makeNewFolder(const std::string& path) {
    if (::mkdir(path.c_str(), 0700) != 0)
        return posixFailure("create the folder", path);
    return {};
}

bool Disk::isFolder(const std::string& path) {
    struct stat status = {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool Disk::exists(const std::string& path) {
    struct stat status = {};
    return ::lstat(path.c_str(), &status) == 0;
}

std::string folderOf(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    return slash == 0 ? "/" : path.substr(0, slash == std::string::npos ? 0 : slash);
}

std::string nameOf(const std::string& path) {
    return path.substr(path.find_last_of('/') + 1);
}

Result<std::string> absolutePath(const std::string& path) {
    if (path.empty())
        return failure(Error::posix(EINVAL, "open", path));
    std::error_code problem;
    const auto whole = std::filesystem::absolute(path, problem);
    if (problem)
        return failure(Error::posix(problem.value(), "open the working folder", "."));
    return whole.lexically_normal().string();
}

} // namespace tarvo
