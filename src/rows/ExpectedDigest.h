// The digest that a file should have, as people paste it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "jobs/Checksum.h"
#include "jobs/TRFileHash.h"

namespace tarvo {

/// "MD5", "SHA-1", "SHA-256" (RFC 1321; FIPS 180-4), as a person reads it.
std::string shownName(Checksum::Algorithm algorithm);

/// Understands the bare digest, of which the length tells the kind, whatever its case and the white space in
/// it; a label in front of it ("sha256:", "MD5 ="); and the lines of a sums file as coreutils and BSD write
/// them
/// ("DIGEST  NAME", "SHA256 (NAME) = DIGEST"), of several lines the one with `fileName`. None: there is no
/// such digest in the text, or more than one.
std::optional<Checksum> expectedDigest(std::string_view text, std::string_view fileName);

/// That of the algorithm.
const std::string& digestOf(const TRFileHash::Digests& digests, Checksum::Algorithm algorithm);

enum class DigestMatch {
    nothingExpected, ///< the text is empty
    notUnderstood,   ///< it holds no digest, or several
    notComputed,     ///< it will be compared with what there is not yet
    matches,
    differs,
};

/// `text` is what the user has pasted for the file of that name, `expected` what expectedDigest() made of it.
DigestMatch judge(std::string_view text, const std::optional<Checksum>& expected,
                  const std::optional<TRFileHash::Digests>& computed);

} // namespace tarvo
