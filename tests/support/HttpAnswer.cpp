// Requests read, ranges judged, credentials checked, answers put together.
#include "support/HttpAnswer.h"

#include <algorithm>
#include <atomic>
#include <regex>

#include <QByteArray>
#include <spdlog/fmt/fmt.h>

namespace tarvo::test {
namespace {

/// First and last byte of the one range of a GET; none when there is none, or several.
std::optional<std::pair<std::int64_t, std::int64_t>> askedRange(const HttpRequest& request,
                                                                std::int64_t size) {
    static const std::regex form("bytes=(\\d{1,18})-(\\d{0,18})");
    const std::string text = request.header("range");
    std::smatch match;
    if (request.method != "GET" || !std::regex_match(text, match, form))
        return std::nullopt;
    const std::int64_t last = match[2].length() == 0 ? size - 1 : std::stoll(match[2]);
    return std::pair(std::stoll(match[1]), std::min(size - 1, last));
}

/// The part that was asked for, or what the faults make of it.
void answerRange(HttpAnswer& answer, std::int64_t first, std::int64_t last, const FaultKnobs& knobs,
                 std::int64_t size) {
    answer.status = 206;
    answer.offset = first + knobs.number("shift").value_or(0);
    answer.length = std::max<std::int64_t>(1, last - first + 1 - knobs.number("short").value_or(0));
    if (!knobs.has("norangeheader"))
        answer.fields += fmt::format("Content-Range: bytes {}-{}/{}\r\n", answer.offset,
                                     answer.offset + answer.length - 1, knobs.number("total").value_or(size));
    answer.length += knobs.number("excess").value_or(0);
}

} // namespace

std::string HttpRequest::header(const std::string& name) const {
    const auto found = headers.find(name);
    return found == headers.end() ? std::string() : found->second;
}

bool HttpRequest::isProbe() const {
    static const std::regex form("bytes=(\\d{1,18})-\\1");
    return method == "HEAD" || std::regex_match(header("range"), form);
}

std::optional<HttpRequest> parseRequest(const std::string& head) {
    static const std::regex lineForm(
        "(\\S+) ((?:(?:http|ftp)://[^/ ]*)?([^? ]*)(?:\\?(\\S*))?) HTTP/1\\.[01]\r\n");
    static const std::regex fieldForm("([^:\r\n]+):[ \t]*([^\r\n]*)\r\n");
    std::smatch line;
    if (!std::regex_search(head, line, lineForm, std::regex_constants::match_continuous))
        return std::nullopt;
    HttpRequest request{0, line[1], line[2], line[3], line[4], {}};
    for (std::sregex_iterator field(line.suffix().first, head.end(), fieldForm), end; field != end; ++field)
        request.headers[QByteArray::fromStdString((*field)[1]).toLower().toStdString()] = (*field)[2];
    return request;
}

std::string HttpAnswer::head() const {
    const std::int64_t size = isFile ? length : std::ssize(text);
    return fmt::format("HTTP/1.1 {} As told\r\n{}{}\r\n\r\n", status, fields,
                       isChunked        ? "Transfer-Encoding: chunked"
                       : endsConnection ? "Connection: close"
                                        : fmt::format("Content-Length: {}", size));
}

HttpAnswer textAnswer(int status, const std::string& text, const std::string& fields) {
    return {.status = status, .fields = "Content-Type: text/plain\r\n" + fields, .text = text + "\n"};
}

std::optional<HttpAnswer> answerBeforeTheFile(const HttpRequest& request, const FaultKnobs& knobs) {
    std::string place = knobs.text("to").value_or("");
    if (const auto redirects = knobs.number("redirect").value_or(0); place.empty() && redirects > 0)
        place = request.path + "?" +
                std::regex_replace(request.query, std::regex("redirect=\\d+"),
                                   fmt::format("redirect={}", redirects - 1));
    if (!place.empty())
        return textAnswer(302, "It is elsewhere", "Location: " + place + "\r\n");
    if (const auto referer = knobs.text("referer"); referer && request.header("referer") != *referer)
        return textAnswer(403, "Come from our own page");
    const auto auth = knobs.text("auth");
    const bool isBasic = auth == "basic";
    const std::string given = request.header("authorization");
    if (!auth || (isBasic ? given == "Basic Ym9iOnNlY3JldA==" // bob:secret
                          : given.starts_with("Digest username=\"bob\"")))
        return std::nullopt;
    return textAnswer(401, "Who are you?",
                      fmt::format("WWW-Authenticate: {}\r\n",
                                  isBasic
                                      ? "Basic realm=\"tarvo\""
                                      : "Digest realm=\"tarvo\", qop=\"auth\", algorithm=MD5, nonce=\"7b\""));
}

HttpAnswer fileAnswer(const HttpRequest& request, const FaultKnobs& knobs, std::int64_t size) {
    HttpAnswer answer{.isFile = true, .length = size, .version = knobs.number("version").value_or(0)};
    answer.fields = "Content-Type: " + knobs.text("type").value_or("application/octet-stream") + "\r\n";
    if (const auto disposition = knobs.text("disposition"))
        answer.fields += "Content-Disposition: " + *disposition + "\r\n";
    const std::string usual = knobs.has("untagged") ? "" : fmt::format("\"v{}\"", answer.version);
    std::string etag = knobs.text("etag").value_or(usual);
    static std::atomic<int> answers{0};
    if (etag == "each")
        etag = fmt::format("\"{}\"", ++answers);
    const std::string modified = knobs.text("modified").value_or("");
    if (!etag.empty())
        answer.fields += "ETag: " + etag + "\r\n";
    if (!modified.empty())
        answer.fields += "Last-Modified: " + modified + "\r\nDate: Mon, 23 Nov 2026 12:00:00 GMT\r\n";
    answer.isChunked = knobs.has("nolength") || knobs.has("chunked");
    answer.endsConnection = knobs.has("untilclose");
    if (knobs.has("norange") || knobs.has("nolength") || (knobs.has("whole200") && !request.isProbe()))
        return answer;
    answer.fields += "Accept-Ranges: bytes\r\n";
    const std::string wanted = request.header("if-range");
    if (!wanted.empty() && wanted != etag && wanted != modified)
        return answer;
    const auto asked = askedRange(request, size);
    if (asked && asked->second < asked->first)
        return textAnswer(416, "There are no such bytes", fmt::format("Content-Range: bytes */{}\r\n", size));
    if (asked)
        answerRange(answer, asked->first, asked->second, knobs, size);
    return answer;
}

} // namespace tarvo::test
