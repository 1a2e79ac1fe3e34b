// What a FaultServer answers to a request, worked out without a socket.
#pragma once

#include "support/FaultKnobs.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarvo::test {

/// One request as it came in.
struct HttpRequest {
    int connection = 0; ///< which connection brought it, from 1 in the order of accepting
    std::string method;
    std::string target;                         ///< as sent, with host (if it came through a proxy) and query
    std::string path;                           ///< the target without host and query
    std::string query;                          ///< after the '?'
    bool throughProxy = false;                  ///< the target named a host (RFC 9112, section 3.2.2)
    std::map<std::string, std::string> headers; ///< names in lower case, values trimmed

    /// The value of a header, empty when it wasn't sent. `name` in lower case.
    std::string header(const std::string& name) const;

    /// HEAD, or a range of a single byte: what a client sends to learn about a file.
    bool isProbe() const;
};

/// Reads request line and header fields, without the empty line at the end. None for what is no request.
std::optional<HttpRequest> parseRequest(std::string_view head);

/// Status, header fields and where the body comes from: `text`, or `length` sample bytes from `offset` on.
struct HttpAnswer {
    enum class Framing { contentLength, chunked, untilClose };

    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string text;
    bool isFile = false;
    std::int64_t offset = 0;
    std::int64_t length = 0;
    Framing framing = Framing::contentLength;

    /// The status line and all header fields, those of the framing included, up to the empty line.
    std::string head() const;
};

/// An answer of one line of text.
HttpAnswer textAnswer(int status, std::string_view text);

/// The redirect that the knobs ask for, if they do.
std::optional<HttpAnswer> redirectAnswer(const HttpRequest& request, const FaultKnobs& knobs);

/// The challenge (401) for a request that doesn't carry what the knob "auth" asks for.
std::optional<HttpAnswer> challengeAnswer(const HttpRequest& request, const FaultKnobs& knobs);

/// The file of `size` bytes or the asked range of it (RFC 9110, section 14), with the faults of `knobs`.
HttpAnswer fileAnswer(const HttpRequest& request, const FaultKnobs& knobs, std::int64_t size);

} // namespace tarvo::test
