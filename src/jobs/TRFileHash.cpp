// One reading loop for every digest that OpenSSL knows.
#include "jobs/TRFileHash.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/Disk.h"
#include "base/Log.h"

namespace tarvo {

namespace {

constexpr std::size_t kBufferSize = 4194304;

using Digest = std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)>;

/// An empty context when the library does not offer the algorithm.
Digest begin(const char* algorithm) {
    Digest digest(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    const EVP_MD* method = EVP_get_digestbyname(algorithm);
    if (!digest || !method || EVP_DigestInit_ex(digest.get(), method, nullptr) != 1)
        digest.reset();
    return digest;
}

std::string hexadecimal(const unsigned char* bytes, unsigned count) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (unsigned i = 0; i < count; ++i) {
        text += kDigits[bytes[i] >> 4];
        text += kDigits[bytes[i] & 15];
    }
    return text;
}

ssize_t readBlock(int descriptor, std::vector<unsigned char>& buffer) {
    while (true) {
        const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
        if (count >= 0 || errno != EINTR)
            return count;
    }
}

/// Opens a regular file; a pipe or a device could make the reader wait for ever.
Result<FileHandle> openForReading(const std::string& path) {
    FileHandle file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));

    struct stat status {};

    if (!file || ::fstat(file.descriptor(), &status) != 0)
        return failure(Error::posix(errno, "open", path));
    if (!S_ISREG(status.st_mode))
        return failure(Error::posix(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, "read", path));
    return file;
}

} // namespace

TRFileHash::TRFileHash(std::string filePath, std::weak_ptr<TRFileHashDelegate> delegate)
    : m_filePath(std::move(filePath)), m_delegate(std::move(delegate)), m_buffer(kBufferSize) {
}

std::int64_t TRFileHash::fileSize() {
    struct stat status {};

    if (m_fileSize == 0 && ::stat(m_filePath.c_str(), &status) == 0)
        m_fileSize = status.st_size;
    return m_fileSize;
}

std::optional<std::string> TRFileHash::computeMD5() {
    return computeOne("MD5");
}

std::optional<std::string> TRFileHash::computeSHA1() {
    return computeOne("SHA1");
}

std::optional<std::string> TRFileHash::computeSHA256() {
    return computeOne("SHA256");
}

std::optional<std::string> TRFileHash::computeSHA512() {
    return computeOne("SHA512");
}

std::optional<std::string> TRFileHash::computeOne(const char* algorithm) {
    const auto digests = compute({algorithm});
    return digests.empty() ? std::nullopt : std::optional(digests.front());
}

std::optional<TRFileHash::Digests> TRFileHash::computeAll() {
    const auto digests = compute({"MD5", "SHA1", "SHA256"});
    return digests.empty() ? std::nullopt : std::optional(Digests{digests[0], digests[1], digests[2]});
}

/// In the order of the algorithms; none of them when one can't be computed.
std::vector<std::string> TRFileHash::compute(Algorithms algorithms) {
    m_error.reset();
    std::vector<Digest> digests;
    for (const char* algorithm : algorithms) {
        digests.push_back(begin(algorithm));
        if (!Log::assertThat(digests.back() != nullptr, algorithm))
            return {};
    }
    const bool isRead = readThrough([&](std::span<const unsigned char> block) {
        return std::all_of(digests.begin(), digests.end(), [&](const Digest& digest) {
            return EVP_DigestUpdate(digest.get(), block.data(), block.size()) == 1;
        });
    });
    if (m_error)
        Log::warning("{}", m_error->description);
    std::vector<std::string> texts;
    for (const auto& digest : digests) {
        unsigned char result[EVP_MAX_MD_SIZE];
        unsigned length = 0;
        if (!isRead || EVP_DigestFinal_ex(digest.get(), result, &length) != 1)
            return {};
        texts.push_back(hexadecimal(result, length));
    }
    m_percentComplete = 100;
    return texts;
}

/// False when the file can't be read, `use` does not want more, or the delegate cancels.
bool TRFileHash::readThrough(const std::function<bool(std::span<const unsigned char>)>& use) {
    m_bytesProcessed = 0;
    m_percentComplete = 0;
    const auto file = openForReading(m_filePath);
    if (!file) {
        m_error = file.error();
        return false;
    }
    ::posix_fadvise(file->descriptor(), 0, 0, POSIX_FADV_SEQUENTIAL);
    while (const ssize_t count = readBlock(file->descriptor(), m_buffer)) {
        if (count < 0) {
            m_error = Error::posix(errno, "read", m_filePath);
            return false;
        }
        if (!use({m_buffer.data(), static_cast<std::size_t>(count)}) || !noteBlock(count))
            return false;
    }
    return true;
}

bool TRFileHash::noteBlock(std::int64_t count) {
    m_bytesProcessed += count;
    if (fileSize() > 0)
        m_percentComplete =
            std::min(100.0, 100.0 * static_cast<double>(m_bytesProcessed) / static_cast<double>(fileSize()));
    const auto delegate = m_delegate.lock();
    return !delegate || delegate->update(*this, m_bytesProcessed, fileSize());
}

} // namespace tarvo
