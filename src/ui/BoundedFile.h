// A file that is read for a preview: no further, no longer and no more than is allowed.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>

#include <QIODevice>

#include "base/Disk.h"
#include "base/Error.h"

namespace tarvo {

/// One thread. What a decoder asks for ends, as if the file ended there, once the bytes or the time are used
/// up or it was cancelled; so the time of whatever decodes it is bounded by its reading.
class BoundedFile final : public QIODevice {
public:
    struct Limits {
        std::int64_t length;   ///< only the file's bytes below this offset are there
        std::int64_t mostRead; ///< bytes in all, what is read twice counts twice
        std::chrono::milliseconds time;
    };

    /// Opens a regular file, and follows no link in place of it: a pipe or a device could make the reader
    /// wait for ever. `cancelled` outlives it.
    static Result<std::unique_ptr<BoundedFile>> open(const std::string& path, const Limits& limits,
                                                     const std::atomic<bool>& cancelled);

    bool isSequential() const override { return false; }

    qint64 size() const override { return m_length; }

    /// Of the whole file.
    std::int64_t fileSize() const { return m_fileSize; }

    /// At most `most` bytes from `offset` on; -1: no more may be read.
    std::int64_t readAt(std::int64_t offset, char* data, std::int64_t most);

    /// Whether something that is there was not given.
    bool wasCut() const { return m_wasCut; }

protected:
    qint64 readData(char* data, qint64 most) override { return readAt(pos(), data, most); }

    qint64 writeData(const char*, qint64) override { return -1; }

private:
    BoundedFile(FileHandle file, std::int64_t fileSize, const Limits& limits,
                const std::atomic<bool>& cancelled);

    const FileHandle m_file;
    const std::int64_t m_fileSize;
    const std::int64_t m_length;
    std::int64_t m_left;
    const std::chrono::steady_clock::time_point m_end;
    const std::atomic<bool>& m_cancelled;
    bool m_wasCut = false;
};

} // namespace tarvo
