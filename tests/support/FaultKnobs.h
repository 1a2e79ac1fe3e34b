// How a FaultServer shall answer, as the query of a URL says it: "norange&cut=4096&from=2".
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace tarvo::test {

/// The knobs of a URL by name.
///
/// On which requests the faults show. They are counted for each path, from 1, HEAD requests too, but not
/// those that were answered by a redirect or a 401:
///
///     from=N  until=N  only from, up to the Nth request
///     spareprobe       never on HEAD, nor on a range of a single byte
///
/// What holds for every request:
///
///     type=  disposition=  Content-Type, Content-Disposition
///     to=URL               one 302 to this address, instead of an answer
///     redirect=N           N 302 to this same server first
///     referer=URL          403 without this Referer
///     auth=basic|digest    RFC 7617, RFC 7616: bob, secret (of a digest only the name is looked at)
///     rate=N               bytes per second, for each connection
///     version=N            other bytes of the same number (SampleData.h); 0, the usual ones, without
///     etag=TEXT            ETag, obeyed in If-Range (RFC 9110, 13.1.5), instead of one that names the
///                          version; "each": another one for each answer
///     retryafter=TEXT      Retry-After, with the fault status
///     places=N             503 while N bodies of this path are being sent
///     untagged             no ETag
///     modified=TEXT        Last-Modified, obeyed too; a Date of 2026 goes with it
///
/// The faults:
///
///     status=N             this status and a line of text
///     reset                ends the connection with a reset (RST) instead of an answer
///     silent               reads the request and never answers
///     norange              ignores Range: 200 and the whole file
///     whole200             the same, but a range of a single byte is honoured
///     nolength             chunked, ranges ignored: the size is not told, by HEAD neither
///     chunked              chunked instead of Content-Length, ranges honoured
///     untilclose           neither length nor chunks: the body ends with the connection
///     shift=N              a range that begins N bytes later than asked
///     short=N              a range that ends N bytes earlier than asked
///     excess=N             N bytes more than asked; Content-Length says so
///     overrun=N            N bytes more than Content-Length says
///     total=N              Content-Range names this size
///     norangeheader        206 without Content-Range
///     cut=N                closes the connection after N bytes of the body
///     stall=N              sends nothing more after N bytes of the body
///     slow=N               bytes per second, whatever the rate
///     random=N             one request in three is answered with reset, status=503, cut or silent; which and
///                          how depends on N and the request's number alone, so that a run can be repeated
///     wild=N               one request in eight likewise, with any of the faults that a client must survive;
///                          lies are not told to probes
class FaultKnobs {
public:
    /// Reads a query (values percent-encoded). Answers what is wrong with it, empty when all is well; what is
    /// no number where one is wanted ends the program.
    std::string read(std::string_view query);

    bool has(std::string_view name) const { return m_values.contains(name); }

    std::optional<std::string> text(std::string_view name) const;
    std::optional<std::int64_t> number(std::string_view name) const;

    /// Whether a body holds the bytes that were asked for, up to its end.
    bool isHonest() const;

    /// The knobs for one request: without the faults if they don't show at it.
    FaultKnobs at(std::int64_t requestNumber, bool isProbe) const;

private:
    std::map<std::string, std::string, std::less<>> m_values;
};

/// Percent-encodes a text for use as the value of a knob.
std::string knobValue(std::string_view text);

} // namespace tarvo::test
