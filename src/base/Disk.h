// The file system as the program uses it: every call checked, every failure with path and cause.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "base/Error.h"

namespace tarvo {

/// An open file descriptor, closed when it goes.
class FileHandle {
public:
    FileHandle() = default;

    explicit FileHandle(int descriptor) : m_descriptor(descriptor) {}

    FileHandle(FileHandle&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}

    FileHandle& operator=(FileHandle&& other) noexcept {
        std::swap(m_descriptor, other.m_descriptor);
        return *this;
    }

    ~FileHandle() { close(); }

    /// Closes the file and with it releases any lock on it.
    void close();

    int descriptor() const { return m_descriptor; }

    explicit operator bool() const { return m_descriptor >= 0; }

private:
    int m_descriptor = -1;
};

/// The file system calls on which no byte and no work may be lost, handed to all that touches files
/// (PosixDisk; tests hand in one that fails). Any thread. Paths are bytes, absolute. The questions that can't
/// lose anything are static.
class Disk {
public:
    virtual ~Disk() = default;

    /// Opens `path` for reading and writing, made (for its owner only) if it is not there.
    virtual Result<FileHandle> openOrCreate(const std::string& path) = 0;

    /// Writes all of `bytes` at `offset` (pwrite).
    virtual Result<void> writeAt(int descriptor, std::string_view bytes, std::int64_t offset,
                                 const std::string& path) = 0;

    /// Sets the length of an open file.
    virtual Result<void> truncate(int descriptor, std::int64_t length, const std::string& path) = 0;

    /// Returns once the file's bytes and length have reached the disk (fdatasync).
    virtual Result<void> flush(int descriptor, const std::string& path) = 0;

    /// Sets the kernel to writing out what the file has in memory, so that a later flush() finds less to
    /// do. A hint: may wait for the disk, promises nothing, and leaves errors for flush() to report.
    virtual void beginFlush(int descriptor) = 0;

    /// Puts `bytes` in the place of the file at `path`: after a crash there is the old or the new one,
    /// whole (write beside, fsync, rename, fsync the folder). `durable` false leaves out the two
    /// flushes, for contents that are worth nothing yet.
    virtual Result<void> replaceFile(const std::string& path, std::string_view bytes,
                                     bool durable = true) = 0;

    /// Takes the file for this open handle alone until it is closed; EWOULDBLOCK when another holds it, in
    /// this process or any other (flock).
    virtual Result<void> lockExclusively(int descriptor, const std::string& path) = 0;

    /// Gives an open file the permissions of one that any program would have made here: 0666 less the
    /// umask. A file system without permissions is left as it is.
    virtual void setUsualPermissions(int descriptor) = 0;

    /// Moves a file to a name that is free; EEXIST when it is taken. Durable only once flushFolder() of
    /// the new place has returned.
    virtual Result<void> renameNoReplace(const std::string& from, const std::string& to) = 0;

    /// Copies a plain file to a name that is free, EEXIST when it is taken, for its owner only. Holes
    /// stay holes (lseek(2), SEEK_DATA). Returns once the copy has reached the disk, though not its name:
    /// see flushFolder(). After an error there is no copy.
    virtual Result<void> copyFile(const std::string& from, const std::string& to) = 0;

    /// Returns once the names in a folder have reached the disk (fsync).
    virtual Result<void> flushFolder(const std::string& path) = 0;

    /// Makes a folder with its parents, readable by its owner only.
    virtual Result<void> makeFolders(const std::string& path) = 0;

    /// Removes a file, or a folder with all that is in it.
    virtual Result<void> removeTree(const std::string& path) = 0;

    /// The whole content of a file; EFBIG when it is longer than `limit` bytes.
    virtual Result<std::string> readFile(const std::string& path, std::int64_t limit) = 0;

    /// Bytes that this process can still write to the file system of `path`; none where it does not say.
    virtual std::optional<std::int64_t> freeSpace(const std::string& path) = 0;

    /// Opens `path`, made if it is not there, and takes it for as long as the answer lives, as
    /// lockExclusively() does; the file that is open is the one at `path`. Waits at most `patience` for a
    /// holder to give it up, then answers EWOULDBLOCK. A lock ends with its process, however that ends.
    Result<FileHandle> openLocked(const std::string& path, std::chrono::milliseconds patience);

    /// The bytes at `offset` of an open file; fewer at its end. Error: POSIX.
    static Result<std::string> readAt(int descriptor, std::int64_t offset, std::size_t count,
                                      const std::string& path);

    /// Whether `path` is still the file that is open, and not another one put in its place.
    static bool isStillAt(int descriptor, const std::string& path);

    /// The length of an open file in bytes, -1 when it can't be told.
    static std::int64_t lengthOf(int descriptor);

    /// The length in bytes of the plain file at `path`, -1 when there is none.
    static std::int64_t lengthOfFile(const std::string& path);

    /// When the plain file at `path` was changed last, in seconds since 1970; -1 when there is none.
    static std::int64_t modificationTimeOf(const std::string& path);

    /// The user to whom a file belongs that this process makes in a folder; none when it can't make one.
    static std::optional<std::uint32_t> ownerOfNewFilesIn(const std::string& folder);

    /// Removes a folder that holds nothing (rmdir). Answers whether there was one.
    static bool removeEmptyFolder(const std::string& path);

    /// Makes a folder for its owner only; EEXIST when its name is taken, ENOENT without its parent.
    static Result<void> makeNewFolder(const std::string& path);

    /// Whether something stands at `path`; any error counts as no.
    static bool exists(const std::string& path);

    /// Whether a folder stands at `path`, and no link to one.
    static bool isFolder(const std::string& path);
};

/// The folder part of a path, "/" for one directly under the root.
std::string folderOf(const std::string& path);

/// The last part of a path.
std::string nameOf(const std::string& path);

/// `path` from the root on, without "." and "..". EINVAL for an empty one, ENOENT for a relative one when the
/// working folder is gone.
Result<std::string> absolutePath(const std::string& path);

} // namespace tarvo
