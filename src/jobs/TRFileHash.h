// Digests of whole files, with progress and a way to cancel.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/Error.h"

namespace tarvo {

class TRFileHash;

/// Watches a digest being computed.
class TRFileHashDelegate {
public:
    virtual ~TRFileHashDelegate() = default;

    /// After each block, on the thread that computes. False cancels.
    virtual bool update(TRFileHash& hash, std::int64_t processed, std::int64_t fileSize) = 0;
};

/// Computes the digest of one file through one large buffer. Not shared between threads; its caller
/// runs it off the main thread.
class TRFileHash {
public:
    /// `filePath` is absolute, as bytes. A delegate that has gone is asked no more.
    explicit TRFileHash(std::string filePath, std::weak_ptr<TRFileHashDelegate> delegate = {});

    TRFileHash(const TRFileHash&) = delete;
    TRFileHash& operator=(const TRFileHash&) = delete;

    /// The digest in lower-case hexadecimal digits. None when the file can't be read to its end (the
    /// reason is logged, and kept), is no regular file, or the delegate cancelled.
    std::optional<std::string> computeMD5();
    std::optional<std::string> computeSHA1();
    std::optional<std::string> computeSHA256();
    std::optional<std::string> computeSHA512();

    struct Digests {
        std::string md5;
        std::string sha1;
        std::string sha256;
    };

    /// All three, of one reading.
    std::optional<Digests> computeAll();

    /// Why the last digest could not be computed; none when it could, or was cancelled.
    const std::optional<Error>& error() const { return m_error; }

    /// Bytes; read from the file when first asked for, 0 when there is no such file.
    std::int64_t fileSize();

    /// Bytes that the digest in progress, or the last one, has gone through.
    std::int64_t bytesProcessed() const { return m_bytesProcessed; }

    /// From 0 to 100, as of the last block.
    double percentComplete() const { return m_percentComplete; }

private:
    using Algorithms = std::initializer_list<const char*>;

    std::optional<std::string> computeOne(const char* algorithm);
    std::vector<std::string> compute(Algorithms algorithms);
    bool readThrough(const std::function<bool(std::span<const unsigned char>)>& use);
    bool noteBlock(std::int64_t count);

    const std::string m_filePath;
    const std::weak_ptr<TRFileHashDelegate> m_delegate;
    double m_percentComplete = 0;
    std::int64_t m_bytesProcessed = 0;
    std::int64_t m_fileSize = 0; // 0: not yet known
    std::optional<Error> m_error;
    std::vector<unsigned char> m_buffer;
};

} // namespace tarvo
