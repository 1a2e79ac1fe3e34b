// Requests read, ranges judged, credentials checked, answers put together.
#include "support/HttpAnswer.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <regex>

#include <QByteArray>
#include <QCryptographicHash>
#include <spdlog/fmt/fmt.h>

namespace tarvo::test {
namespace {

constexpr std::string_view kRealm = "tarvo";
constexpr std::string_view kNonce = "7b6d3f0ac1e94d52";
constexpr std::string_view kUser = "bob";
constexpr std::string_view kPassword = "secret";

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r'))
        text.remove_suffix(1);
    return text;
}

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return lower;
}

struct AskedRange {
    std::int64_t first = 0;
    std::int64_t last = 0; ///< below `first` when the file has no such bytes
};

/// The one range of a GET; none when there is no Range, several ranges, or one that makes no sense.
std::optional<AskedRange> askedRange(const HttpRequest& request, const FaultKnobs& knobs, std::int64_t size) {
    static const std::regex form("bytes=(\\d{0,18})-(\\d{0,18})");
    const std::string text = request.header("range");
    const std::string condition = request.header("if-range");
    std::smatch match;
    if (request.method != "GET" || !std::regex_match(text, match, form) ||
        (!condition.empty() && condition != knobs.etag))
        return std::nullopt;
    const std::string first = match[1];
    const std::string last = match[2];
    if (first.empty() && last.empty())
        return std::nullopt;
    if (first.empty())
        return AskedRange{std::max<std::int64_t>(0, size - std::stoll(last)), size - 1};
    const AskedRange asked{std::stoll(first),
                           last.empty() ? size - 1 : std::min(size - 1, std::int64_t{std::stoll(last)})};
    if (!last.empty() && std::stoll(last) < asked.first)
        return std::nullopt;
    return asked;
}

std::string md5(const std::string& text) {
    return QCryptographicHash::hash(QByteArray::fromStdString(text), QCryptographicHash::Md5)
        .toHex()
        .toStdString();
}

std::map<std::string, std::string> digestFields(const std::string& authorization) {
    static const std::regex form("(\\w+)=(?:\"([^\"]*)\"|([^,\\s]*))");
    std::map<std::string, std::string> fields;
    for (auto it = std::sregex_iterator(authorization.begin(), authorization.end(), form);
         it != std::sregex_iterator(); ++it)
        fields[(*it)[1]] = (*it)[2].matched ? (*it)[2].str() : (*it)[3].str();
    return fields;
}

/// RFC 7616, section 3.4.1, for MD5 and quality of protection "auth".
bool digestIsRight(const HttpRequest& request) {
    const std::string authorization = request.header("authorization");
    if (!authorization.starts_with("Digest "))
        return false;
    auto fields = digestFields(authorization);
    const std::string secret = md5(fmt::format("{}:{}:{}", kUser, kRealm, kPassword));
    const std::string place = md5(request.method + ":" + fields["uri"]);
    const std::string response =
        md5(fmt::format("{}:{}:{}:{}:auth:{}", secret, kNonce, fields["nc"], fields["cnonce"], place));
    return fields["username"] == kUser && fields["nonce"] == kNonce && fields["qop"] == "auth" &&
           request.target.ends_with(fields["uri"]) && fields["response"] == response;
}

bool basicIsRight(const HttpRequest& request) {
    const std::string expected = fmt::format("{}:{}", kUser, kPassword);
    return request.header("authorization") ==
           "Basic " + QByteArray::fromStdString(expected).toBase64().toStdString();
}

std::string_view reasonOf(int status) {
    static const std::map<int, std::string_view> reasons{
        {200, "OK"},          {206, "Partial Content"}, {302, "Found"},
        {400, "Bad Request"}, {401, "Unauthorized"},    {403, "Forbidden"},
        {404, "Not Found"},   {405, "Not Allowed"},     {416, "Range Not Satisfiable"},
        {429, "Too Many"},    {500, "Server Error"},    {503, "Unavailable"}};
    const auto found = reasons.find(status);
    return found == reasons.end() ? "Something Else" : found->second;
}

/// The part that was asked for, or what the faults make of it.
void answerRange(HttpAnswer& answer, const AskedRange& asked, const FaultKnobs& knobs, std::int64_t size) {
    answer.status = 206;
    answer.offset = asked.first + knobs.shift.value_or(0);
    answer.length = std::max<std::int64_t>(1, asked.last - asked.first + 1 - knobs.shorten.value_or(0));
    if (!knobs.norangeheader)
        answer.headers.emplace_back("Content-Range", fmt::format("bytes {}-{}/{}", answer.offset,
                                                                 answer.offset + answer.length - 1,
                                                                 knobs.total.value_or(size)));
    answer.length += knobs.excess.value_or(0);
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

std::optional<HttpRequest> parseRequest(std::string_view head) {
    const std::string_view line = trimmed(head.substr(0, head.find('\n')));
    const std::size_t afterMethod = line.find(' ');
    const std::size_t version = line.rfind(" HTTP/1.");
    if (afterMethod == std::string_view::npos || version == std::string_view::npos || version <= afterMethod)
        return std::nullopt;
    HttpRequest request;
    request.method = line.substr(0, afterMethod);
    request.target = line.substr(afterMethod + 1, version - afterMethod - 1);
    std::string_view place = request.target;
    request.throughProxy = place.starts_with("http://");
    if (request.throughProxy)
        place.remove_prefix(std::min(place.size(), place.find('/', std::string_view("http://").size())));
    request.path = place.substr(0, place.find('?'));
    request.query = place.substr(std::min(place.size(), request.path.size() + 1));
    head.remove_prefix(std::min(head.size(), head.find('\n')));
    head.remove_prefix(std::min<std::size_t>(head.size(), 1));
    while (!head.empty()) {
        const std::string_view field = head.substr(0, head.find('\n'));
        head.remove_prefix(std::min(head.size(), field.size() + 1));
        const std::size_t colon = field.find(':');
        if (colon == std::string_view::npos)
            return std::nullopt;
        request.headers[lowerCase(field.substr(0, colon))] = trimmed(field.substr(colon + 1));
    }
    return request;
}

std::string HttpAnswer::head() const {
    std::string head = fmt::format("HTTP/1.1 {} {}\r\n", status, reasonOf(status));
    for (const auto& [name, value] : headers)
        head += fmt::format("{}: {}\r\n", name, value);
    if (framing == Framing::contentLength)
        head +=
            fmt::format("Content-Length: {}\r\n", isFile ? length : static_cast<std::int64_t>(text.size()));
    if (framing == Framing::chunked)
        head += "Transfer-Encoding: chunked\r\n";
    if (framing == Framing::untilClose)
        head += "Connection: close\r\n";
    return head + "\r\n";
}

HttpAnswer textAnswer(int status, std::string_view text) {
    HttpAnswer answer;
    answer.status = status;
    answer.headers.emplace_back("Content-Type", "text/plain");
    answer.text = std::string(text) + "\n";
    return answer;
}

std::optional<HttpAnswer> redirectAnswer(const HttpRequest& request, const FaultKnobs& knobs) {
    std::string place = knobs.to.value_or("");
    if (!knobs.to && knobs.redirect.value_or(0) > 0) {
        const std::regex count("redirect=\\d+");
        place = request.path + "?" +
                std::regex_replace(request.query, count, fmt::format("redirect={}", *knobs.redirect - 1));
    }
    if (place.empty())
        return std::nullopt;
    HttpAnswer answer = textAnswer(302, "It is elsewhere");
    answer.headers.emplace_back("Location", place);
    return answer;
}

std::optional<HttpAnswer> challengeAnswer(const HttpRequest& request, const FaultKnobs& knobs) {
    if (!knobs.auth || (*knobs.auth == "basic" ? basicIsRight(request) : digestIsRight(request)))
        return std::nullopt;
    HttpAnswer answer = textAnswer(401, "Who are you?");
    answer.headers.emplace_back(
        "WWW-Authenticate",
        *knobs.auth == "basic"
            ? fmt::format("Basic realm=\"{}\"", kRealm)
            : fmt::format("Digest realm=\"{}\", qop=\"auth\", algorithm=MD5, nonce=\"{}\"", kRealm, kNonce));
    return answer;
}

HttpAnswer fileAnswer(const HttpRequest& request, const FaultKnobs& knobs, std::int64_t size) {
    HttpAnswer answer;
    answer.isFile = true;
    answer.length = size;
    answer.headers.emplace_back("Content-Type", knobs.type.value_or("application/octet-stream"));
    if (knobs.disposition)
        answer.headers.emplace_back("Content-Disposition", *knobs.disposition);
    if (knobs.etag)
        answer.headers.emplace_back("ETag", *knobs.etag);
    if (knobs.setcookie)
        answer.headers.emplace_back("Set-Cookie", "visited=yes; Path=/");
    const bool ignoresRange = knobs.norange || knobs.nolength || (knobs.whole200 && !request.isProbe());
    if (!ignoresRange)
        answer.headers.emplace_back("Accept-Ranges", "bytes");

    if (knobs.nolength || knobs.chunked)
        answer.framing = HttpAnswer::Framing::chunked;
    if (knobs.untilclose)
        answer.framing = HttpAnswer::Framing::untilClose;
    const auto asked = ignoresRange ? std::nullopt : askedRange(request, knobs, size);
    if (asked && asked->last < asked->first) {
        HttpAnswer refusal = textAnswer(416, "There are no such bytes");
        refusal.headers.emplace_back("Content-Range", fmt::format("bytes */{}", size));
        return refusal;
    }
    if (asked)
        answerRange(answer, *asked, knobs, size);
    return answer;
}

} // namespace tarvo::test
