#include "engine/transfer/RangeAnswer.h"

#include "base/Localized.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <map>

#include <curl/curl.h>

namespace tarvo {

namespace {

/// Reads digits off the front of `text`.
std::optional<std::int64_t> takeNumber(std::string_view& text) {
    std::int64_t number = 0;
    if (text.empty() || text.front() < '0' || text.front() > '9')
        return std::nullopt; // from_chars would take a sign
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (problem != std::errc())
        return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

bool takeCharacter(std::string_view& text, char character) {
    if (text.empty() || text.front() != character)
        return false;
    text.remove_prefix(1);
    return true;
}

/// The phrases of RFC 9110, section 15, and of the IANA status code registry.
std::string standardPhrase(std::int64_t status) {
    static const std::map<std::int64_t, std::string> phrases = {
        {400, "Bad Request"},
        {401, "Unauthorized"},
        {402, "Payment Required"},
        {403, "Forbidden"},
        {404, "Not Found"},
        {405, "Method Not Allowed"},
        {406, "Not Acceptable"},
        {408, "Request Timeout"},
        {409, "Conflict"},
        {410, "Gone"},
        {411, "Length Required"},
        {412, "Precondition Failed"},
        {413, "Content Too Large"},
        {414, "URI Too Long"},
        {415, "Unsupported Media Type"},
        {416, "Range Not Satisfiable"},
        {417, "Expectation Failed"},
        {421, "Misdirected Request"},
        {422, "Unprocessable Content"},
        {423, "Locked"},
        {424, "Failed Dependency"},
        {425, "Too Early"},
        {426, "Upgrade Required"},
        {428, "Precondition Required"},
        {429, "Too Many Requests"},
        {431, "Request Header Fields Too Large"},
        {451, "Unavailable For Legal Reasons"},
        {500, "Internal Server Error"},
        {501, "Not Implemented"},
        {502, "Bad Gateway"},
        {503, "Service Unavailable"},
        {504, "Gateway Timeout"},
        {505, "HTTP Version Not Supported"},
        {507, "Insufficient Storage"},
        {508, "Loop Detected"},
        {511, "Network Authentication Required"},
    };
    const auto found = phrases.find(status);
    if (found != phrases.end())
        return found->second;
    return status < 500 ? "Client Error" : "Server Error";
}

/// Whether it means the same tomorrow.
bool isFinalStatus(std::int64_t status) {
    constexpr std::array<std::int64_t, 9> statuses{400, 401, 403, 404, 405, kProxyAsksForPassword,
                                                   410, 451, 501};
    return std::find(statuses.begin(), statuses.end(), status) != statuses.end();
}

} // namespace

std::optional<ContentRange> ContentRange::parse(std::string_view value) {
    constexpr std::string_view unit = "bytes ";
    if (!value.starts_with(unit))
        return std::nullopt;
    value.remove_prefix(unit.size());
    const auto first = takeNumber(value);
    const bool dash = takeCharacter(value, '-');
    const auto last = takeNumber(value);
    const bool slash = takeCharacter(value, '/');
    const auto length = takeNumber(value);
    if (!first || !dash || !last || !slash || !length || !value.empty() || *first > *last || *last >= *length)
        return std::nullopt;
    return ContentRange{*first, *last, *length};
}

std::optional<std::int64_t> parseLength(std::string_view value) {
    const auto length = takeNumber(value);
    return value.empty() ? length : std::nullopt;
}

RangeVerdict judgeRangeAnswer(const ResponseHead& head, const ByteRange& asked, std::int64_t fileSize) {
    if (head.status >= 400)
        return RangeVerdict::httpError;
    const auto range = ContentRange::parse(head.contentRange.value_or(""));
    const bool isTheRange = head.status == 206 && range && range->first == asked.lowerBound &&
                            range->last < asked.upperBound && range->completeLength == fileSize;
    return isTheRange ? RangeVerdict::accepted : RangeVerdict::unexpected;
}

RangeVerdict judgeWholeAnswer(const ResponseHead& head, std::int64_t fileSize) {
    if (head.status >= 400)
        return RangeVerdict::httpError;
    if (head.status != 200 && head.status != 203)
        return RangeVerdict::unexpected;
    const auto length = head.contentLength ? parseLength(*head.contentLength) : std::nullopt;
    return fileSize < 1 || !length || *length == fileSize ? RangeVerdict::accepted : RangeVerdict::unexpected;
}

bool isFinalRefusal(const Error& error) {
    if (error.domain == ErrorDomain::CurlHttp)
        return isFinalStatus(error.code);
    return error.is(ErrorDomain::CurlSegment, CURLE_REMOTE_FILE_NOT_FOUND) ||
           error.is(ErrorDomain::CurlSegment, CURLE_FILESIZE_EXCEEDED) ||
           error.is(ErrorDomain::CurlSegment, CURLE_REMOTE_ACCESS_DENIED);
}

Refusal judgeRefusal(bool isWeb, std::int64_t status, int curlCode) {
    if (isWeb && status >= 400) {
        if (status == 503 || status == 429)
            return Refusal::said;
        return isFinalStatus(status) ? Refusal::none : Refusal::hinted;
    }
    switch (curlCode) {
    case CURLE_COULDNT_CONNECT:
        return Refusal::said;
    case CURLE_LOGIN_DENIED: // 530 once more of the user's sessions are open than the server allows
        return isWeb ? Refusal::none : Refusal::said;
    case CURLE_WRITE_ERROR: // the bytes were turned away here
    case CURLE_ABORTED_BY_CALLBACK:
    case CURLE_REMOTE_FILE_NOT_FOUND:
    case CURLE_REMOTE_ACCESS_DENIED:
        return Refusal::none;
    default:
        return !isWeb && status == 421 ? Refusal::said : Refusal::hinted;
    }
}

Error httpStatusError(std::int64_t status, Seconds retryAfter) {
    if (status == kProxyAsksForPassword)
        return {std::string(ErrorDomain::CurlHttp), status, localized("tr.err.proxy-authentication"),
                localized("tr.err.proxy-authentication-recovery")};
    return {std::string(ErrorDomain::CurlHttp), status,
            localized("tr.err.http-status", {std::to_string(status), standardPhrase(status)}), "",
            static_cast<std::int64_t>(retryAfter.count())};
}

} // namespace tarvo
