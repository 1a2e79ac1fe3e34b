// What tells one version of a remote file from another.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tarvo {

/// What an answer says about the version of the file that it is of (RFC 9110, section 8.8). A value.
struct Validator {
    std::string entityTag{};           ///< strong, with its quotes; empty without one
    std::string lastModified{};        ///< as the web server writes it; of FTP and SFTP seconds since 1970
    bool isModificationStrong = false; ///< two versions can't share lastModified
    std::string origin{};              ///< scheme, host and port that answered

    /// Of an answer from the web. `date` is the answer's own time: a file that was changed within the second
    /// before it may change again without a new lastModified (RFC 9110, section 8.8.2.2). A weak entity tag
    /// is left out.
    static Validator ofWebAnswer(std::string_view entityTag, std::string_view lastModified,
                                 std::string_view date, std::string origin);

    /// Of a file server, which tells the time of the last change; below 0 when it does not.
    static Validator ofModificationTime(std::int64_t secondsSince1970, std::string origin);

    /// The value of If-Range (RFC 9110, section 13.1.5), for a web server; empty when nothing may be sent.
    std::string ifRange() const;

    /// When the file was changed last, in seconds since 1970; below 0 where that is not told.
    std::int64_t modificationTime() const;

    bool operator==(const Validator& other) const = default;
};

enum class Sameness {
    same,      ///< the answers are of one version
    different, ///< they are not: no byte of the one goes with the other
    unknown,   ///< nothing that both of them say tells
};

/// Compares what an earlier answer said with what a later one says. An entity tag means something at the
/// server that made it only, so those of another origin, a mirror's for instance, are not compared.
Sameness compare(const Validator& kept, const Validator& answer);

} // namespace tarvo
