// The rules by which an answer is, or is not, the part of the file that was asked for.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/Error.h"
#include "engine/progress/ByteRange.h"
#include "engine/progress/ConnectionAllowance.h"

namespace tarvo {

/// The head of the final answer to a web request.
struct ResponseHead {
    std::int64_t status = 0;
    std::optional<std::string> contentRange;
    std::optional<std::string> contentLength;
};

enum class RangeVerdict {
    accepted,   ///< the body is what was asked for
    httpError,  ///< a status of 400 or more: the server's own refusal
    changed,    ///< of another version of the file than what is on the disk
    unexpected, ///< anything else: not a byte of it may be used
};

/// A Content-Range field (RFC 9110, section 14.4): "bytes 0-99/1000".
struct ContentRange {
    std::int64_t first = 0;
    std::int64_t last = 0; ///< inclusive, as in the field
    std::int64_t completeLength = 0;

    /// None unless the unit is bytes, all three numbers are there and first ≤ last < completeLength.
    static std::optional<ContentRange> parse(std::string_view value);
};

/// A field of digits only, as Content-Length is (RFC 9110, section 8.6).
std::optional<std::int64_t> parseLength(std::string_view value);

/// Judges the head of an answer to a request for `asked` of a file of `fileSize` bytes (RFC 9110,
/// sections 14 and 15.3.7): only a 206 whose Content-Range starts at the lower bound, ends within the
/// range and names the file's size is accepted.
RangeVerdict judgeRangeAnswer(const ResponseHead& head, const ByteRange& asked, std::int64_t fileSize);

/// Judges the head of an answer to a request for the whole file: only a 200 (or 203) whose
/// Content-Length, where both are known, is `fileSize` (below 1: unknown).
RangeVerdict judgeWholeAnswer(const ResponseHead& head, std::int64_t fileSize);

/// RFC 9110, section 15.5.8.
inline constexpr std::int64_t kProxyAsksForPassword = 407;

/// The error of a status of 400 or more, with the status's standard phrase. `retryAfter` as of Error.
Error httpStatusError(std::int64_t status, Seconds retryAfter = {});

/// Whether a transfer's error is a refusal that means the same tomorrow: a status of RFC 9110, section 15.5
/// and 15.6, or RFC 7725, that time does not heal, and "not found" and "no permission" of file servers.
bool isFinalRefusal(const Error& error);

/// What the end of a connection that has brought nothing says of how many its server allows: by the status of
/// the answer (RFC 9110, section 15.6.4; RFC 6585, section 4; of a file server RFC 959, section 4.2), 0 for
/// none, and libcurl's result code.
Refusal judgeRefusal(bool isWeb, std::int64_t status, int curlCode);

} // namespace tarvo
