#include "engine/transfer/RequestOptions.h"

#include "base/Settings.h"
#include "base/Text.h"
#include "engine/transfer/ProxyUrlProvider.h"

#include <algorithm>

#include <spdlog/fmt/fmt.h>

namespace tarvo {

namespace {

// What one read takes from a socket at the most: fewer system calls than libcurl's 16 KiB (its page on
// CURLOPT_BUFFERSIZE), but no more than the range can need. Blocks still arrive in pieces of 16 KiB.
constexpr std::int64_t kLargestReceiveBuffer = 256 * 1024;
constexpr std::int64_t kSmallestReceiveBuffer = 16 * 1024;
constexpr std::int64_t kLeastReceiveBuffer = 1024; // libcurl's own limit
constexpr long kMostRedirects = 10;
constexpr const char* kSchemes = "http,https,ftp,sftp";

void setAddress(EasyHandle& handle, const CurlRequest& request) {
    // The token's credentials are the ones to use, and an address that holds others says so in vain.
    const Url& url = request.url;
    handle.set(CURLOPT_URL,
               request.authToken ? url.withoutCredentials().absoluteString() : url.absoluteString());
    handle.set(CURLOPT_PROTOCOLS_STR, kSchemes);
    handle.set(CURLOPT_REDIR_PROTOCOLS_STR, kSchemes);
    handle.set(CURLOPT_FOLLOWLOCATION, 1L);
    handle.set(CURLOPT_MAXREDIRS, kMostRedirects);
    if (request.referer)
        handle.set(CURLOPT_REFERER, request.referer->withoutCredentials().absoluteString());
}

void setHeaders(EasyHandle& handle, const RequestHeaders& headers) {
    constexpr std::string_view kCoding = "accept-encoding:";
    const bool isCodingSet = std::any_of(
        headers.begin(), headers.end(), [&](const auto& each) { return lowered(each).starts_with(kCoding); });
    // Bytes are counted, kept and compared as the server has them (RFC 9110, section 12.5.3).
    if (!isCodingSet)
        handle.addHeader("Accept-Encoding: identity");
    for (const auto& header : headers)
        handle.addHeader(header);
}

long resolveOf(IpVersion version) {
    if (version == IpVersion::any)
        return CURL_IPRESOLVE_WHATEVER;
    return version == IpVersion::v4 ? CURL_IPRESOLVE_V4 : CURL_IPRESOLVE_V6;
}

void setConnection(EasyHandle& handle, const CurlRequest& request, const RequestTraits& traits) {
    // Certificates are not verified, neither the chain nor the name.
    handle.set(CURLOPT_SSL_VERIFYPEER, 0L);
    handle.set(CURLOPT_SSL_VERIFYHOST, 0L);
    handle.set(CURLOPT_NOSIGNAL, 1L);
#if LIBCURL_VERSION_NUM >= 0x075700
    // Else the end of a transfer waits for the name server's answer, or for the resolver to give up.
    handle.set(CURLOPT_QUICK_EXIT, 1L);
#endif
    handle.set(CURLOPT_TIMEOUT_MS, static_cast<long>(request.timeoutMs));
    handle.set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(traits.connectTimeout.count()));
    handle.set(CURLOPT_IPRESOLVE, resolveOf(traits.ipVersion));
    handle.set(CURLOPT_TCP_KEEPALIVE, 1L);
}

/// Under a limit of the speed all connections together read no more in one turn than that allows in a moment.
std::int64_t largestBuffer(std::int64_t speedLimit) {
    constexpr std::int64_t kTurnsOfASecond = 64;
    if (speedLimit < 1)
        return kLargestReceiveBuffer;
    return std::clamp(speedLimit / kTurnsOfASecond, kLeastReceiveBuffer, kLargestReceiveBuffer);
}

void setRange(EasyHandle& handle, const CurlRequest& request, std::int64_t speedLimit) {
    handle.set(CURLOPT_FILETIME, 1L); // a file server is asked for it
    handle.set(CURLOPT_NOBODY, request.headRequestOnly ? 1L : 0L);
    if (request.headRequestOnly)
        return;
    std::int64_t expected = kLargestReceiveBuffer;
    if (request.upperBound != 0) {
        handle.set(CURLOPT_RANGE, fmt::format("{}-{}", request.lowerBound, request.upperBound - 1));
        expected = request.upperBound - request.lowerBound;
        if (!request.ifRange.empty())
            handle.addHeader("If-Range: " + request.ifRange);
    }
    const auto usual = std::clamp(expected, kSmallestReceiveBuffer, kLargestReceiveBuffer);
    handle.set(CURLOPT_BUFFERSIZE, static_cast<long>(std::min(usual, largestBuffer(speedLimit))));
}

void setSshLogin(EasyHandle& handle, const TRAuthToken& token) {
    const auto key = token.privKey();
    const bool asksAgent = token.asksAgent() && isSshAgentThere();
    long types = (key ? CURLSSH_AUTH_PUBLICKEY : 0) | (asksAgent ? CURLSSH_AUTH_AGENT : 0);
    // An empty password is tried where there is nothing else: each refusal counts with the server.
    if (types == 0 || (token.offersPassword() && !token.password().empty()))
        types |= CURLSSH_AUTH_PASSWORD | CURLSSH_AUTH_KEYBOARD;
    handle.set(CURLOPT_SSH_AUTH_TYPES, types);
    if (!key)
        return;
    handle.set(CURLOPT_SSH_PRIVATE_KEYFILE, *key);
    // Without the file libssh2 reads the public key out of the private one.
    handle.set(CURLOPT_SSH_PUBLIC_KEYFILE, token.pubKey().value_or(""));
    handle.set(CURLOPT_KEYPASSWD, token.password());
}

void setCredentials(EasyHandle& handle, const CurlRequest& request) {
    // By itself libcurl would try keys from places of its own choice.
    handle.set(CURLOPT_SSH_AUTH_TYPES, static_cast<long>(CURLSSH_AUTH_PASSWORD));
    const auto& token = request.authToken;
    if (!token)
        return;
    handle.set(CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC | CURLAUTH_DIGEST | CURLAUTH_NTLM));
    handle.set(CURLOPT_USERNAME, token->username());
    handle.set(CURLOPT_PASSWORD, token->password());
    if (request.url.scheme() == "sftp")
        setSshLogin(handle, *token);
}

} // namespace

std::optional<Error> setRequestOptions(EasyHandle& handle, const CurlRequest& request,
                                       const UserDefaults& defaults, const RequestTraits& traits) {
    setAddress(handle, request);
    setHeaders(handle, withOthers(traits.headers, request.headers));
    setConnection(handle, request, traits);
    setRange(handle, request, Settings(defaults).speedLimit());
    setCredentials(handle, request);
    const auto userAgent = Settings(defaults).customUserAgent();
    handle.set(CURLOPT_USERAGENT, userAgent ? userAgent->c_str() : nullptr);
    const auto proxy = ProxyUrlProvider(defaults).proxyUrl();
    if (proxy && *proxy)
        handle.set(CURLOPT_PROXY, (*proxy)->absoluteString());
    if (proxy)
        return std::nullopt;
    handle.set(CURLOPT_URL, nullptr); // without an address libcurl sends nothing
    return proxy.error();
}

} // namespace tarvo
