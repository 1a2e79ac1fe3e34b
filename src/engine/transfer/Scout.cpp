#include "engine/transfer/Scout.h"

#include "base/FileName.h"
#include "base/Log.h"
#include "engine/transfer/ContentCoding.h"
#include "engine/transfer/RangeAnswer.h"

#include <algorithm>

#include <QMimeDatabase>
#include <QRegularExpression>
#include <curl/curl.h>

namespace tarvo {

namespace {

constexpr int kRangeNotSatisfiable = 416; // RFC 9110, section 15.5.17

std::string replaced(std::string text, char from, char to) {
    std::replace(text.begin(), text.end(), from, to);
    return text;
}

bool isNoName(const std::string& text) {
    return text.empty() || text == "/";
}

/// Programs that answer for a web server: the name says who made the file, not what is in it.
bool isProgramOfAServer(const std::string& extension) {
    constexpr std::string_view kPrograms[] = {"php", "asp", "aspx", "ashx", "jsp", "cgi", "cfm", "do"};
    return std::find(std::begin(kPrograms), std::end(kPrograms), extension) != std::end(kPrograms);
}

/// What follows the last dot, in lower case, where it says what kind of file this is: a letter and four
/// letters or digits at the most, or whatever else is known as an extension (.7z, .torrent). So the "2" of
/// v1.2 is none.
std::string extensionOf(const std::string& name) {
    const QString whole = QString::fromStdString(name).toLower();
    const QString last = whole.section(u'.', -1);
    static const QRegularExpression usual(QStringLiteral("^[a-z][a-z0-9]{0,4}$"));
    if (whole.lastIndexOf(u'.') < 1 || last.isEmpty())
        return {};
    const bool isOne = usual.match(last).hasMatch() ||
                       !QMimeDatabase().suffixForFileName(QStringLiteral("a.") + last).isEmpty();
    return isOne ? last.toStdString() : std::string();
}

/// The name with the type's extension where it has none that says as much. A program's text, though, is a
/// file like any other.
std::string withExtensionOfType(const std::string& name, const std::string& extension) {
    const std::string own = extensionOf(name);
    const bool says = !own.empty() && (!isProgramOfAServer(own) || extension == "txt");
    return says || own == extension ? name : name + "." + extension;
}

} // namespace

std::shared_ptr<Scout> ScoutFactory::createScout(const Url& url, std::shared_ptr<const TRAuthToken> auth,
                                                 const std::optional<Url>& referer,
                                                 const RequestHeaders& headers) const {
    const auto limit = std::chrono::ceil<std::chrono::milliseconds>(m_environment.probeTimeLimit);
    const CurlRequest request{.url = url,
                              .authToken = std::move(auth),
                              .referer = referer,
                              .headers = headers,
                              .timeoutMs = limit.count()};
    return std::make_shared<Scout>(ProbeRequests::create(request, m_environment));
}

std::optional<Error> Scout::runAndGetError(std::int64_t connections) {
    m_owner.take();
    m_requests->run(connections);
    if (isLoginDenied(head()))
        return head().segment().error();
    const int code = body().segment().errorCode();
    if (code != CURLE_OK && code != CURLE_WRITE_ERROR && !rangeIsBeyondTheFile() && !rangesAreRefused())
        return body().segment().error();
    auto error = extractBodyHttpError();
    Log::assertThat(error || code == CURLE_WRITE_ERROR || rangeIsBeyondTheFile() || rangesAreRefused() ||
                        m_requests->bodyBytes() <= 1,
                    "Should have been a forced error here");
    return error;
}

std::optional<Error> Scout::extractBodyHttpError() const {
    if (family() != Family::web)
        return std::nullopt;
    const std::int64_t status = body().segment().httpCode();
    if (status < 300 || rangeIsBeyondTheFile())
        return std::nullopt;
    if (status < 400) {
        Log::warning("Got possibly benign HTTP error: {}", status);
        return std::nullopt;
    }
    return httpStatusError(status, body().segment().retryAfter());
}

Refusal Scout::refusal() const {
    const CurlSegment& last = (isLoginDenied(head()) ? head() : body()).segment();
    return judgeRefusal(family() == Family::web, last.httpCode(), last.errorCode());
}

/// An empty file and one of a single byte have no byte at offset 1: that is no failure of the file.
bool Scout::rangeIsBeyondTheFile() const {
    const CurlSegment& head = m_requests->head().segment();
    const CurlSegment& body = m_requests->body().segment();
    if (family() != Family::web)
        return body.errorCode() == CURLE_BAD_DOWNLOAD_RESUME && head.errorCode() == CURLE_OK;
    return body.httpCode() == kRangeNotSatisfiable && head.httpCode() >= 200 && head.httpCode() < 300;
}

/// An FTP server that begins no file in the middle says so to REST (RFC 3659, section 5) or only to RETR; the
/// whole file it may give all the same.
bool Scout::rangesAreRefused() const {
    const CurlSegment& body = m_requests->body().segment();
    const bool isRefusal =
        body.errorCode() == CURLE_FTP_COULDNT_USE_REST || body.errorCode() == CURLE_FTP_COULDNT_RETR_FILE;
    return isRefusal && head().segment().errorCode() == CURLE_OK;
}

/// The downloader whose answer describes the file, not the server's refusal.
const CurlDownloader& Scout::fileAnswer() const {
    return rangeIsBeyondTheFile() ? head() : body();
}

/// By what was really spoken: a web proxy answers for a file server, a redirect leads from one to the other.
Scout::Family Scout::family() const {
    const std::string protocol = body().segment().protocol();
    if (protocol == "http" || protocol == "https")
        return Family::web;
    return protocol == "ftp" || protocol == "sftp" ? Family::fileTransfer : Family::other;
}

bool Scout::asksForFtp() const {
    return body().segment().request().url.scheme() == "ftp";
}

bool Scout::hasRun() const {
    m_owner.assertIsHere();
    return Log::assertThat(head().currentState() != CurlDownloadState::Init ||
                               body().currentState() != CurlDownloadState::Init,
                           "the scout has not run");
}

std::int64_t Scout::contentLength() const {
    hasRun();
    if (family() != Family::web)
        return head().segment().contentLength();
    if (const auto range = body().header("content-range")) {
        const std::size_t slash = range->find('/');
        if (Log::assertThat(slash != std::string::npos && range->find('/', slash + 1) == std::string::npos)) {
            if (const auto length = parseLength(std::string_view(*range).substr(slash + 1)))
                return *length;
        }
    }
    // A server that refuses HEAD announces the length of its refusal; the body's answer knows better.
    const std::int64_t headStatus = head().segment().httpCode();
    if (headStatus >= 200 && headStatus < 300)
        return head().segment().contentLength();
    return parseLength(body().header("content-length").value_or("")).value_or(0);
}

bool Scout::supportsMultipartDownloads() const {
    hasRun();
    switch (family()) {
    case Family::web: // a proxy opens one connection to an FTP server at a time
        return m_requests->bodyBytes() == 1 && bodyAnswerIsTheRange() && !asksForFtp();
    case Family::fileTransfer:
        return body().segment().contentLength() > 0 && !rangesAreRefused();
    case Family::other:
        break;
    }
    return Log::assertThat(false, "Illegal protocol");
}

/// What is not believed of the probe would not be believed of any part either (judgeRangeAnswer()).
bool Scout::bodyAnswerIsTheRange() const {
    const auto range = ContentRange::parse(body().header("content-range").value_or(""));
    const CurlRequest& asked = body().segment().request();
    return body().segment().httpCode() == 206 && range && range->first == asked.lowerBound &&
           range->last < asked.upperBound;
}

bool Scout::requiresAuthentication() const {
    if (isLoginDenied(head()) || isLoginDenied(body()))
        return true;
    const auto error = extractBodyHttpError();
    return error && error->code == 401;
}

std::optional<Url> Scout::lastAsked() const {
    const CurlDownloader& last = isLoginDenied(head()) ? head() : body();
    const auto address = last.segment().effectiveUrl();
    return address ? std::optional(address->withoutCredentials()) : std::nullopt;
}

bool Scout::isHtmlPage() const {
    if (family() != Family::web || asksForFtp()) // an FTP server has files, also those that hold pages
        return false;
    const QString type = QString::fromStdString(fileAnswer().header("content-type").value_or(""));
    return type.toLower().startsWith(QStringLiteral("text/html"));
}

bool Scout::isAttachment() const {
    const QString disposition =
        QString::fromStdString(fileAnswer().header("content-disposition").value_or(""));
    return disposition.section(u';', 0, 0).trimmed().toLower() == u"attachment";
}

bool Scout::isFtpDirectory() const {
    // Without the slash it is taken for a file, and a folder fails as one; no length is an empty file then.
    const bool isFolder = body().segment().request().url.path().ends_with('/');
    if (family() == Family::web) // a proxy makes a page of the folder
        return isFolder && asksForFtp();
    return family() == Family::fileTransfer && isFolder && body().segment().contentLength() == 0;
}

std::string Scout::nameFromAddress() const {
    const auto address = body().segment().effectiveUrl();
    if (!address)
        return "UnknownName";
    // What ends in a slash is a folder, whose name would say little about the file it answers with.
    if (std::string name = address->lastPathComponent(); !isNoName(name) && !address->path().ends_with('/'))
        return name;
    std::string whole = replaced(address->withoutCredentials().absoluteString(), '.', '_');
    return isNoName(whole) ? "UnknownName" : whole;
}

std::optional<std::string> Scout::extensionFromType() const {
    if (family() != Family::web)
        return std::nullopt;
    const auto header = fileAnswer().header("content-type");
    if (!header)
        return std::nullopt;
    const QString type = QString::fromStdString(header->substr(0, header->find(';'))).trimmed();
    const QString suffix = QMimeDatabase().mimeTypeForName(type).preferredSuffix();
    return suffix.isEmpty() ? std::nullopt : std::optional(suffix.toStdString());
}

std::string Scout::suggestedFilename() const {
    hasRun();
    std::string name;
    if (const auto disposition = fileAnswer().header("content-disposition"))
        name = nameFromContentDisposition(*disposition).value_or("");
    if (name.empty()) {
        name = nameFromAddress();
        if (const auto extension = extensionFromType())
            name = withExtensionOfType(name, *extension);
    }
    const auto coding = family() == Family::web ? fileAnswer().header("content-encoding") : std::nullopt;
    if (coding)
        name = withEndingOfCoding(name, *coding);
    return cleanFileName(name, "trdownload");
}

} // namespace tarvo
