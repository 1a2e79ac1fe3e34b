// One request with libcurl and all that came back, for the tests of the servers.
#pragma once

#include <map>
#include <string>

#include <QByteArray>
#include <curl/curl.h>

namespace tarvo::test {

constexpr std::size_t kLongestBody = 16 * 1024 * 1024;

struct FetchOptions {
    std::string range{};                  ///< "FIRST-LAST"
    std::string user{};                   ///< "NAME:PASSWORD"
    std::string proxy{};                  ///< its address
    std::string privateKey{};             ///< path of an SSH key
    bool headOnly = false;                ///< HEAD instead of GET
    long version = CURL_HTTP_VERSION_1_1; ///< CURL_HTTP_VERSION_…
    long timeoutMs = 20'000;              ///< for everything
};

struct Fetched {
    CURLcode code = CURLE_OK;
    long status = 0;
    long httpVersion = 0;
    std::string body;                           ///< not much more than kLongestBody of it
    std::map<std::string, std::string> headers; ///< of the last answer; names in lower case
};

inline std::size_t takeBody(char* bytes, std::size_t, std::size_t count, void* fetched) {
    std::string& body = static_cast<Fetched*>(fetched)->body;
    if (body.size() < kLongestBody)
        body.append(bytes, count);
    return count;
}

inline std::size_t takeHeader(char* bytes, std::size_t, std::size_t count, void* fetched) {
    auto& headers = static_cast<Fetched*>(fetched)->headers;
    const QByteArray line = QByteArray(bytes, static_cast<qsizetype>(count)).trimmed();
    if (line.startsWith("HTTP/"))
        headers.clear();
    const auto colon = line.indexOf(':');
    if (colon > 0)
        headers[line.left(colon).toLower().toStdString()] = line.mid(colon + 1).trimmed().toStdString();
    return count;
}

inline Fetched fetch(const std::string& url, const FetchOptions& options = {}) {
    Fetched fetched;
    CURL* curl = curl_easy_init();
    const auto setText = [&](CURLoption option, const std::string& text) {
        if (!text.empty())
            curl_easy_setopt(curl, option, text.c_str());
    };
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, options.timeoutMs);
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L);
    curl_easy_setopt(curl, CURLOPT_HTTP_VERSION, options.version);
    curl_easy_setopt(curl, CURLOPT_HTTPAUTH, CURLAUTH_BASIC | CURLAUTH_DIGEST);
    curl_easy_setopt(curl, CURLOPT_NOBODY, options.headOnly ? 1L : 0L);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &takeBody);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &fetched);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, &takeHeader);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &fetched);
    setText(CURLOPT_RANGE, options.range);
    setText(CURLOPT_USERPWD, options.user);
    setText(CURLOPT_PROXY, options.proxy);
    setText(CURLOPT_SSH_PRIVATE_KEYFILE, options.privateKey);
    fetched.code = curl_easy_perform(curl);
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &fetched.status);
    curl_easy_getinfo(curl, CURLINFO_HTTP_VERSION, &fetched.httpVersion);
    curl_easy_cleanup(curl);
    return fetched;
}

} // namespace tarvo::test
