// What a FaultServer answers to a request, worked out without a socket.
#pragma once

#include "support/FaultKnobs.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace tarvo::test {

/// One request as it came in.
struct HttpRequest {
    int connection = 0; ///< which connection brought it, from 1 in the order of accepting
    std::string method;
    std::string target;                         ///< as sent, with host (if it came through a proxy) and query
    std::string path;                           ///< the target without host and query
    std::string query;                          ///< after the '?'
    std::map<std::string, std::string> headers; ///< names in lower case, values trimmed

    /// The value of a header, empty when it wasn't sent. `name` in lower case.
    std::string header(const std::string& name) const;

    /// HEAD, or a range of a single byte: what a client sends to learn about a file.
    bool isProbe() const;
};

/// Reads request line and header fields, without the empty line at the end. None for what is no request.
std::optional<HttpRequest> parseRequest(const std::string& head);

/// Status, header fields and where the body comes from: `text`, or `length` sample bytes from `offset` on.
struct HttpAnswer {
    int status = 200;
    std::string fields{}; ///< a line each
    std::string text{};
    bool isFile = false;
    bool isChunked = false;
    bool endsConnection = false; ///< and so the body, whose length is told nowhere
    std::int64_t offset = 0;
    std::int64_t length = 0;
    std::int64_t version = 0; ///< of the sample data

    /// The status line and all header fields, those of the framing included, up to the empty line.
    std::string head() const;
};

/// An answer of one line of text.
HttpAnswer textAnswer(int status, const std::string& text, const std::string& fields = {});

/// The redirect, or the challenge for a request without the right credentials, if the knobs want them.
std::optional<HttpAnswer> answerBeforeTheFile(const HttpRequest& request, const FaultKnobs& knobs);

/// The file of `size` bytes or the asked range of it (RFC 9110, section 14), with the faults of `knobs`.
HttpAnswer fileAnswer(const HttpRequest& request, const FaultKnobs& knobs, std::int64_t size);

} // namespace tarvo::test
