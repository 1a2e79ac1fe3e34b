// A digest that a finished file must have.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/Error.h"
#include "jobs/TRFileHash.h"

namespace tarvo {

struct Checksum {
    enum class Algorithm { md5, sha1, sha256, sha512 };

    Algorithm algorithm = Algorithm::sha256;
    std::string digest; ///< hexadecimal, lower case

    /// From what other programs take and print too: "SHA-512:HEX", the digits alone.
    static std::optional<Checksum> read(const std::string& text);

    /// From "ALGO=HEX"; none when the algorithm is unknown or the digest has the wrong length.
    static std::optional<Checksum> parse(const std::string& text);

    /// From what a page shows: the digits alone, whose number tells the algorithm, or text(). None of
    /// SHA-512, which is not shown of files.
    static std::optional<Checksum> guess(const std::string& text);

    /// "sha256=HEX", as parse() reads it.
    std::string text() const;

    /// "md5", "sha1", "sha256", "sha512".
    static std::string nameOf(Algorithm algorithm);

    bool operator==(const Checksum& other) const = default;
};

/// See TRFileHash. It reads the whole file: for a worker.
std::optional<std::string> digestOf(const std::string& path, Checksum::Algorithm algorithm,
                                    const std::weak_ptr<TRFileHashDelegate>& watch);

/// kTarvoWrongChecksum: the file at `path` has the digest `found`, none where it can't be read, and not the
/// one that was wanted. The text of `recoveryKey` says what becomes of it.
Error wrongChecksum(const std::string& path, const std::optional<std::string>& found, const Checksum& wanted,
                    std::string_view recoveryKey = "tr.err.checksum-recovery");

/// Whether a file with this digest, as in "sha256=HEX", has another one than the wanted. Of two different
/// algorithms that can't be told.
bool isKnownToDiffer(const std::string& digest, const std::optional<Checksum>& wanted);

} // namespace tarvo
