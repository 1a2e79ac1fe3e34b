// How a FaultServer shall answer, as the query of a URL says it: "norange&cut=4096&every=2".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarvo::test {

/// Knobs that say on which requests the faults show. Requests are counted for each path, from 1, HEAD
/// requests too, but not those that were answered by a redirect or a 401.
struct FaultTimes {
    std::optional<std::int64_t> from;  ///< only from the nth request on
    std::optional<std::int64_t> until; ///< only up to the nth request
    std::optional<std::int64_t> every; ///< only at every nth request
    bool spareprobe = false;           ///< never on HEAD, nor on a range of a single byte
};

/// Knobs that describe the file. They hold for every request.
struct FileKnobs {
    std::optional<std::string> type;        ///< Content-Type (application/octet-stream)
    std::optional<std::string> disposition; ///< Content-Disposition (none)
    std::optional<std::string> etag;        ///< ETag, quotes included (none)
    std::optional<std::string> to;          ///< one 302 to this address, instead of an answer
    std::optional<std::int64_t> redirect;   ///< so many 302 to this same server first
    std::optional<std::string> auth;   ///< "basic" or "digest" (RFC 7617, RFC 7616 with MD5): bob, secret
    bool setcookie = false;            ///< Set-Cookie: visited=yes; Path=/
    std::optional<std::int64_t> rate;  ///< bytes per second, for each connection
    std::optional<std::int64_t> delay; ///< milliseconds before the answer begins
    std::optional<std::int64_t> connections; ///< 503 for whatever comes while so many transfers run
};

/// Knobs that make the server misbehave.
struct Faults {
    std::optional<std::int64_t> status;  ///< this status and a line of text
    bool reset = false;                  ///< ends the connection with a reset (RST) instead of an answer
    bool silent = false;                 ///< reads the request and never answers
    bool norange = false;                ///< ignores Range: 200 and the whole file
    bool whole200 = false;               ///< the same, but a range of a single byte is honoured
    bool nolength = false;               ///< chunked, ranges ignored: nobody knows the size, HEAD neither
    bool chunked = false;                ///< chunked instead of Content-Length, ranges honoured
    bool untilclose = false;             ///< neither length nor chunks: the body ends with the connection
    std::optional<std::int64_t> shift;   ///< a range that begins so many bytes later than asked
    std::optional<std::int64_t> shorten; ///< "short": a range that ends so many bytes earlier than asked
    std::optional<std::int64_t> excess;  ///< so many bytes more than asked; Content-Length says so
    std::optional<std::int64_t> overrun; ///< so many bytes more than Content-Length says
    std::optional<std::int64_t> total;   ///< Content-Range names this size
    bool norangeheader = false;          ///< 206 without Content-Range
    std::optional<std::int64_t> cut;     ///< closes the connection after so many bytes of the body
    std::optional<std::int64_t>
        cutevery;                      ///< closes a connection whenever the path has sent so many more bytes
    std::optional<std::int64_t> stall; ///< sends nothing more after so many bytes of the body
    /// One request in three is answered with a fault: reset, status=503, cut or silent. Which and how
    /// depends on this number and that of the request alone, so that a run can be repeated.
    std::optional<std::int64_t> random;
};

struct FaultKnobs : FaultTimes, FileKnobs, Faults {
    /// The knobs for one request: without the faults if they don't show at it.
    FaultKnobs at(std::int64_t requestNumber, bool isProbe) const;
};

/// Reads a query (values percent-encoded). Answers what is wrong with it, nothing when all is well.
std::optional<std::string> readKnobs(std::string_view query, FaultKnobs& knobs);

/// Percent-encodes a text for use as the value of a knob.
std::string knobValue(std::string_view text);

} // namespace tarvo::test
