#include "base/PosixDisk.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "base/Log.h"

namespace tarvo {

namespace {

constexpr mode_t kOwnerOnly = 0600;

tl::unexpected<Error> posixFailure(std::string_view operation, const std::string& path) {
    return failure(Error::posix(errno, operation, path));
}

/// The umask, which can only be read by setting it; done once, before other threads make files.
mode_t processUmask() {
    static const mode_t mask = [] {
        const mode_t present = ::umask(0077);
        ::umask(present);
        return present;
    }();
    return mask;
}

Result<void> writeAll(int descriptor, std::string_view bytes, std::int64_t offset, const std::string& path) {
    while (!bytes.empty()) {
        const ssize_t written = ::pwrite(descriptor, bytes.data(), bytes.size(), offset);
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return posixFailure("write", path);
        bytes.remove_prefix(static_cast<std::size_t>(written));
        offset += written;
    }
    return {};
}

/// For file systems without a rename that refuses to replace.
Result<void> linkAndUnlink(const std::string& from, const std::string& to) {
    if (::link(from.c_str(), to.c_str()) != 0)
        return posixFailure("move the download to", to);
    if (::unlink(from.c_str()) != 0)
        return posixFailure("remove", from);
    return {};
}

/// Copies the `length` bytes from `offset` on.
Result<void> copyRange(int source, const std::string& from, int copy, const std::string& to,
                       std::int64_t offset, std::int64_t length) {
    constexpr std::int64_t blockSize = 1 << 20;
    std::string block(static_cast<std::size_t>(std::min(blockSize, length)), '\0');
    while (length > 0) {
        const auto wanted = static_cast<std::size_t>(std::min(blockSize, length));
        const ssize_t count = ::pread(source, block.data(), wanted, offset);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return posixFailure("read", from);
        if (count == 0) // it has become shorter
            return failure(Error::posix(EIO, "read", from));
        if (auto written = writeAll(copy, {block.data(), static_cast<std::size_t>(count)}, offset, to);
            !written)
            return written;
        offset += count;
        length -= count;
    }
    return {};
}

/// Copies what is no hole; the copy has its length already.
Result<void> copyData(int source, const std::string& from, int copy, const std::string& to,
                      std::int64_t length) {
    for (std::int64_t end = 0; end < length;) {
        const std::int64_t begin = ::lseek(source, end, SEEK_DATA);
        if (begin < 0 && errno == ENXIO) // nothing but a hole is left
            return {};
        if (begin < 0)
            return posixFailure("read", from);
        end = ::lseek(source, begin, SEEK_HOLE);
        if (end < 0)
            return posixFailure("read", from);
        if (auto copied = copyRange(source, from, copy, to, begin, std::min(end, length) - begin); !copied)
            return copied;
    }
    return {};
}

} // namespace

Result<FileHandle> PosixDisk::openOrCreate(const std::string& path) {
    FileHandle handle(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kOwnerOnly));
    if (!handle)
        return posixFailure("open", path);
    return handle;
}

Result<void> PosixDisk::writeAt(int descriptor, std::string_view bytes, std::int64_t offset,
                                const std::string& path) {
    return writeAll(descriptor, bytes, offset, path);
}

Result<void> PosixDisk::truncate(int descriptor, std::int64_t length, const std::string& path) {
    if (::ftruncate(descriptor, length) != 0)
        return posixFailure("set the length of", path);
    return {};
}

Result<void> PosixDisk::flush(int descriptor, const std::string& path) {
    if (::fdatasync(descriptor) != 0)
        return posixFailure("flush", path);
    return {};
}

void PosixDisk::beginFlush(int descriptor) {
    // An error here is seen again by fdatasync, which keeps its own mark (sync_file_range(2)).
    ::sync_file_range(descriptor, 0, 0, SYNC_FILE_RANGE_WRITE);
}

Result<void> PosixDisk::replaceFile(const std::string& path, std::string_view bytes, bool durable) {
    const std::string beside = path + ".new";
    FileHandle handle(
        ::open(beside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, kOwnerOnly));
    if (!handle)
        return posixFailure("create", beside);
    auto result = writeAll(handle.descriptor(), bytes, 0, beside);
    if (result && durable && ::fsync(handle.descriptor()) != 0)
        result = posixFailure("flush", beside);
    if (result && ::rename(beside.c_str(), path.c_str()) != 0)
        result = posixFailure("replace", path);
    if (!result) {
        ::unlink(beside.c_str());
        return result;
    }
    return durable ? PosixDisk::flushFolder(folderOf(path)) : result;
}

Result<void> PosixDisk::lockExclusively(int descriptor, const std::string& path) {
    if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0)
        return posixFailure("lock", path);
    return {};
}

void PosixDisk::setUsualPermissions(int descriptor) {
    if (::fchmod(descriptor, 0666 & ~processUmask()) != 0)
        Log::warning("Could not set the permissions of a finished file: {}", errno);
}

Result<void> PosixDisk::renameNoReplace(const std::string& from, const std::string& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) != 0) {
        if (errno != EINVAL && errno != ENOSYS)
            return posixFailure("move the download to", to);
        return linkAndUnlink(from, to);
    }
    return {};
}

Result<void> PosixDisk::copyFile(const std::string& from, const std::string& to) {
    const FileHandle source(::open(from.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (!source)
        return posixFailure("open", from);
    const FileHandle copy(::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kOwnerOnly));
    if (!copy)
        return posixFailure("create", to);
    const std::int64_t length = lengthOf(source.descriptor());
    Result<void> result;
    if (::ftruncate(copy.descriptor(), length) != 0)
        result = posixFailure("set the length of", to);
    if (result)
        result = copyData(source.descriptor(), from, copy.descriptor(), to, length);
    if (result && ::fsync(copy.descriptor()) != 0)
        result = posixFailure("flush", to);
    if (!result)
        ::unlink(to.c_str());
    return result;
}

Result<void> PosixDisk::flushFolder(const std::string& path) {
    const FileHandle handle(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // Some file systems can't flush a folder and say so with EINVAL; their renames are their own affair.
    if (!handle || (::fsync(handle.descriptor()) != 0 && errno != EINVAL))
        return posixFailure("flush the folder", path);
    return {};
}

Result<void> PosixDisk::makeFolders(const std::string& path) {
    if (::mkdir(path.c_str(), 0700) == 0 || errno == EEXIST)
        return {};
    if (errno != ENOENT)
        return posixFailure("create the folder", path);
    if (auto parent = folderOf(path); parent != path) {
        std::error_code problem;
        std::filesystem::create_directories(parent, problem);
        if (problem)
            return failure(Error::posix(problem.value(), "create the folder", parent));
    }
    if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST)
        return posixFailure("create the folder", path);
    return {};
}

Result<void> PosixDisk::removeTree(const std::string& path) {
    std::error_code problem;
    std::filesystem::remove_all(path, problem);
    if (problem)
        return failure(Error::posix(problem.value(), "remove", path));
    return {};
}

std::optional<std::int64_t> PosixDisk::freeSpace(const std::string& path) {
    struct statvfs status {};

    if (::statvfs(path.c_str(), &status) != 0 || status.f_blocks == 0)
        return std::nullopt;
    const auto blocks = ::geteuid() == 0 ? status.f_bfree : status.f_bavail;
    return static_cast<std::int64_t>(blocks) * static_cast<std::int64_t>(status.f_frsize);
}

Result<std::string> PosixDisk::readFile(const std::string& path, std::int64_t limit) {
    const FileHandle handle(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status = {};
    if (!handle || ::fstat(handle.descriptor(), &status) != 0)
        return posixFailure("open", path);
    if (!S_ISREG(status.st_mode))
        return failure(Error::posix(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, "read", path));
    if (status.st_size > limit)
        return failure(Error::posix(EFBIG, "read", path));
    std::string content;
    char block[65536];
    while (true) {
        const ssize_t count = ::read(handle.descriptor(), block, sizeof block);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return posixFailure("read", path);
        if (count == 0)
            return content;
        content.append(block, static_cast<std::size_t>(count));
        if (static_cast<std::int64_t>(content.size()) > limit)
            return failure(Error::posix(EFBIG, "read", path));
    }
}

} // namespace tarvo
