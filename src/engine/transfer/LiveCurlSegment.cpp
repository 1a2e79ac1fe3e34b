#include "engine/transfer/LiveCurlSegment.h"

#include "base/Localized.h"
#include "base/Log.h"
#include "base/Settings.h"
#include "base/Text.h"
#include "engine/transfer/CookieHelper.h"
#include "engine/transfer/ProxyUrlProvider.h"
#include "engine/transfer/Referer.h"

#include <algorithm>
#include <mutex>
#include <thread>
#include <utility>

#include <curl/curl.h>

namespace tarvo {

namespace {

// What one read takes from a socket at the most: fewer system calls than libcurl's 16 KiB (its page on
// CURLOPT_BUFFERSIZE), but no more than the range can need. Blocks still arrive in pieces of 16 KiB.
constexpr std::int64_t kLargestReceiveBuffer = 256 * 1024;
constexpr std::int64_t kSmallestReceiveBuffer = 16 * 1024;
// A transfer takes some ten steps in one turn, and libcurl asks once at each.
constexpr int kMostQuestionsOfATurn = 100;
constexpr std::chrono::milliseconds kRest{10};
constexpr long kConnectTimeoutMs = 30000;
constexpr long kMostRedirects = 10;
constexpr const char* kSchemes = "http,https,ftp,sftp";

/// A line of libcurl's trace, which tells of redirects' addresses and of cookies.
std::string withoutSecrets(std::string_view line) {
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r'))
        line.remove_suffix(1);
    if (line.find("ed cookie ") != std::string_view::npos) // added, replaced
        line = line.substr(0, line.find('='));
    return withoutPasswords(std::string(line));
}

std::once_flag startedUp;
std::once_flag cleanedUp;

} // namespace

template <class Value>
void LiveCurlSegment::set(void* handle, int option, Value value) {
    const CURLcode result = curl_easy_setopt(handle, static_cast<CURLoption>(option), value);
    if (result == CURLE_OK)
        return;
    Log::error("Could not set transfer option {}: {}", option, curl_easy_strerror(result));
    // What libcurl was built without is no loss as long as the server does not ask for it.
    if (result != CURLE_NOT_BUILT_IN && result != CURLE_UNKNOWN_OPTION && errorCode() == CURLE_OK)
        setErrorCode(result);
}

void LiveCurlSegment::set(void* handle, int option, const std::string& value) {
    set(handle, option, value.c_str());
}

struct LiveCurlSegment::Callbacks {
    static int onDebugText(CURL*, curl_infotype type, char* text, std::size_t size, void* segment) {
        const CurlRequest& request = static_cast<LiveCurlSegment*>(segment)->request();
        if (type == CURLINFO_TEXT)
            Log::verbose("CURL {} ({}-{}): {}", request.url.withoutPassword(), request.lowerBound,
                         request.upperBound, withoutSecrets({text, size}));
        return 0;
    }

    /// Before each request, those of redirects among them.
    static int onRequest(void* segment, char*, char*, int, int localPort) {
        auto* self = static_cast<LiveCurlSegment*>(segment);
        if (self->pool())
            self->pool()->noteUse(*self, localPort);
        self->configureNextRequest();
        self->setReferer();
        return self->errorCode() == CURLE_OK ? CURL_PREREQFUNC_OK : CURL_PREREQFUNC_ABORT;
    }

    static std::size_t onHeader(char* line, std::size_t size, std::size_t count, void* segment) {
        auto* self = static_cast<LiveCurlSegment*>(segment);
        const auto delegate = self->delegate().lock();
        if (Log::assertThat(delegate != nullptr))
            delegate->curlHasHeader(*self, {line, size * count});
        return size * count;
    }

    static std::size_t onData(char* data, std::size_t size, std::size_t count, void* segment) {
        auto* self = static_cast<LiveCurlSegment*>(segment);
        const auto delegate = self->delegate().lock();
        if (!Log::assertThat(delegate != nullptr))
            return 0;
        return static_cast<std::size_t>(delegate->curlHasData(*self, {data, size * count}));
    }

    static std::size_t onDiscardedData(char*, std::size_t size, std::size_t count, void*) {
        return size * count;
    }

    static int onProgress(void* segment, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
        auto* self = static_cast<LiveCurlSegment*>(segment);
        const auto delegate = self->delegate().lock();
        if (!Log::assertThat(delegate != nullptr))
            return 0;
        if (delegate->curlHasProgress(*self) >= 0) {
            self->restWhileLibcurlSpins();
            return 0;
        }
        if (self->pool())
            self->pool()->breakOff(*self);
        return 1;
    }
};

void LiveCurlSegment::startUp() {
    std::call_once(startedUp, [] { curl_global_init(CURL_GLOBAL_ALL); });
}

void LiveCurlSegment::cleanup() {
    std::call_once(cleanedUp, [] { curl_global_cleanup(); });
}

LiveCurlSegment::LiveCurlSegment(CurlRequest request, const TransferEnvironment& environment)
    : CurlSegment(std::move(request)), m_environment(environment) {
}

LiveCurlSegment::~LiveCurlSegment() {
    curl_easy_cleanup(m_handle);
    curl_slist_free_all(m_headers);
}

void LiveCurlSegment::configure() {
    startUp();
    if (!m_handle)
        m_handle = curl_easy_init();
    if (!m_handle)
        return setErrorCode(CURLE_OUT_OF_MEMORY);
    if (request().debugModeEnabled) {
        set(m_handle, CURLOPT_VERBOSE, 1L);
        set(m_handle, CURLOPT_DEBUGFUNCTION, &Callbacks::onDebugText);
        set(m_handle, CURLOPT_DEBUGDATA, this);
    }
    configureRequest();
    configureBody();
    configureCredentials();
    configureIdentity();
    configureProxy();
}

void LiveCurlSegment::configureRequest() {
    // Certificates are not verified, neither the chain nor the name.
    set(m_handle, CURLOPT_SSL_VERIFYPEER, 0L);
    set(m_handle, CURLOPT_SSL_VERIFYHOST, 0L);
    // The token's credentials are the ones to use, and an address that holds others says so in vain.
    const Url& url = request().url;
    set(m_handle, CURLOPT_URL,
        request().authToken ? url.withoutCredentials().absoluteString() : url.absoluteString());
    set(m_handle, CURLOPT_PROTOCOLS_STR, kSchemes);
    set(m_handle, CURLOPT_REDIR_PROTOCOLS_STR, kSchemes);
    set(m_handle, CURLOPT_FOLLOWLOCATION, 1L);
    set(m_handle, CURLOPT_MAXREDIRS, kMostRedirects);
    set(m_handle, CURLOPT_NOPROGRESS, 0L);
    set(m_handle, CURLOPT_NOSIGNAL, 1L);
#if LIBCURL_VERSION_NUM >= 0x075700
    // Else whoever ends a transfer waits for the name server's answer, or for the resolver to give up.
    set(m_handle, CURLOPT_QUICK_EXIT, 1L);
#endif
    set(m_handle, CURLOPT_PRIVATE, static_cast<CurlSegment*>(this));
    set(m_handle, CURLOPT_TIMEOUT_MS, static_cast<long>(request().timeoutMs));
    set(m_handle, CURLOPT_CONNECTTIMEOUT_MS, kConnectTimeoutMs);
    set(m_handle, CURLOPT_TCP_KEEPALIVE, 1L);
    set(m_handle, CURLOPT_FILETIME, 1L); // a file server is asked for it
    const auto userAgent = Settings(m_environment.defaults).customUserAgent();
    set(m_handle, CURLOPT_USERAGENT, userAgent ? userAgent->c_str() : nullptr);
    set(m_handle, CURLOPT_HEADERFUNCTION, &Callbacks::onHeader);
    set(m_handle, CURLOPT_HEADERDATA, this);
    // A proxy's own answer to CONNECT is not the file's.
    set(m_handle, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    if (request().referer)
        set(m_handle, CURLOPT_REFERER, request().referer->withoutCredentials().absoluteString());
}

void LiveCurlSegment::configureBody() {
    set(m_handle, CURLOPT_XFERINFOFUNCTION, &Callbacks::onProgress);
    set(m_handle, CURLOPT_XFERINFODATA, this);
    if (request().headRequestOnly) {
        set(m_handle, CURLOPT_NOBODY, 1L);
        // FTP delivers header-like lines as a body; without a callback they would go to standard output.
        set(m_handle, CURLOPT_WRITEFUNCTION, &Callbacks::onDiscardedData);
        return;
    }
    set(m_handle, CURLOPT_WRITEFUNCTION, &Callbacks::onData);
    set(m_handle, CURLOPT_WRITEDATA, this);
    std::int64_t expected = kLargestReceiveBuffer;
    if (request().upperBound != 0) {
        set(m_handle, CURLOPT_RANGE, fmt::format("{}-{}", request().lowerBound, request().upperBound - 1));
        expected = request().upperBound - request().lowerBound;
        if (!request().ifRange.empty() && !m_headers)
            m_headers = curl_slist_append(nullptr, ("If-Range: " + request().ifRange).c_str());
        set(m_handle, CURLOPT_HTTPHEADER, m_headers);
    }
    set(m_handle, CURLOPT_BUFFERSIZE,
        static_cast<long>(std::clamp(expected, kSmallestReceiveBuffer, kLargestReceiveBuffer)));
}

void LiveCurlSegment::configureCredentials() {
    // By itself libcurl would try keys from places of its own choice.
    set(m_handle, CURLOPT_SSH_AUTH_TYPES, static_cast<long>(CURLSSH_AUTH_PASSWORD));
    const auto& token = request().authToken;
    if (!token)
        return;
    set(m_handle, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC | CURLAUTH_DIGEST | CURLAUTH_NTLM));
    set(m_handle, CURLOPT_USERNAME, token->username());
    set(m_handle, CURLOPT_PASSWORD, token->password());
    if (request().url.scheme() == "sftp")
        configureSshLogin(*token);
}

void LiveCurlSegment::configureSshLogin(const TRAuthToken& token) {
    const auto key = token.privKey();
    const bool asksAgent = token.asksAgent() && isSshAgentThere();
    long types = (key ? CURLSSH_AUTH_PUBLICKEY : 0) | (asksAgent ? CURLSSH_AUTH_AGENT : 0);
    // An empty password is tried where there is nothing else: each refusal counts with the server.
    if (types == 0 || (token.offersPassword() && !token.password().empty()))
        types |= CURLSSH_AUTH_PASSWORD | CURLSSH_AUTH_KEYBOARD;
    set(m_handle, CURLOPT_SSH_AUTH_TYPES, types);
    if (!key)
        return;
    set(m_handle, CURLOPT_SSH_PRIVATE_KEYFILE, *key);
    // Without the file libssh2 reads the public key out of the private one.
    set(m_handle, CURLOPT_SSH_PUBLIC_KEYFILE, token.pubKey().value_or(""));
    set(m_handle, CURLOPT_KEYPASSWD, token.password());
}

void LiveCurlSegment::configureIdentity() {
    set(m_handle, CURLOPT_COOKIEFILE, "");
    // A cookie text that is set once would follow a redirect to any host (CURLOPT_COOKIE).
    set(m_handle, CURLOPT_PREREQFUNCTION, &Callbacks::onRequest);
    set(m_handle, CURLOPT_PREREQDATA, this);
}

/// As the setting is when the transfer starts, however long ago that was prepared.
void LiveCurlSegment::configureProxy() {
    const auto proxy = ProxyUrlProvider(m_environment.defaults).proxyUrl();
    if (proxy && *proxy)
        set(m_handle, CURLOPT_PROXY, (*proxy)->absoluteString());
    if (proxy)
        return;
    m_obstacle = proxy.error();
    set(m_handle, CURLOPT_URL, nullptr); // without an address libcurl sends nothing
}

void LiveCurlSegment::restWhileLibcurlSpins() {
    const std::uint64_t turn = pool() ? pool()->turns() : 0;
    if (std::exchange(m_turn, turn) != turn)
        m_asked = 0;
    if (++m_asked > kMostQuestionsOfATurn)
        std::this_thread::sleep_for(kRest);
}

void LiveCurlSegment::configureNextRequest() {
    const auto url = effectiveUrl();
    // libcurl breaks a range off, and what the server says to that may be taken for the next one's answers.
    const bool breaksOff = url && url->scheme() == "ftp" && !request().headRequestOnly;
    set(m_handle, CURLOPT_FORBID_REUSE, breaksOff ? 1L : 0L);
    std::string cookies;
    if (url && !m_environment.cookies.isEmpty())
        cookies =
            CookieHelper::combineCookiesForURL(*url, &m_environment.cookies, m_environment.clock.wallNow());
    // An empty text would send an empty Cookie header, which RFC 6265 (section 4.2.1) does not allow.
    set(m_handle, CURLOPT_COOKIE, cookies.empty() ? nullptr : cookies.c_str());
}

void LiveCurlSegment::setReferer() {
    const auto asked = effectiveUrl();
    // A challenge is answered at the same address. What the user has set goes along as it is.
    if (m_lastAsked && asked && *m_lastAsked != *asked && !request().referer) {
        const auto referer = refererAfterRedirect(*m_lastAsked, *asked);
        set(m_handle, CURLOPT_REFERER, referer ? referer->c_str() : nullptr);
    }
    m_lastAsked = asked;
}

void LiveCurlSegment::pause() {
    Log::verbose("Paused");
    curl_easy_pause(m_handle, CURLPAUSE_ALL);
}

void LiveCurlSegment::resume() {
    Log::verbose("Resumed");
    curl_easy_pause(m_handle, CURLPAUSE_CONT);
}

std::optional<Error> LiveCurlSegment::error() const {
    if (errorCode() == CURLE_OK)
        return std::nullopt;
    if (m_obstacle)
        return m_obstacle;
    const bool sshFailed =
        errorCode() == CURLE_FAILED_INIT && effectiveUrl().value_or(request().url).scheme() == "sftp";
    return Error{std::string(ErrorDomain::CurlSegment), errorCode(),
                 sshFailed ? localized("tr.err.ssh-fail")
                           : std::string(curl_easy_strerror(static_cast<CURLcode>(errorCode()))) + ".",
                 ""};
}

std::optional<Url> LiveCurlSegment::effectiveUrl() const {
    const char* text = nullptr;
    if (m_handle)
        curl_easy_getinfo(m_handle, CURLINFO_EFFECTIVE_URL, &text);
    if (!text)
        return std::nullopt;
    // Asked for with every request, and mostly the same: reading an address costs more than comparing it.
    const Url& asked = request().url;
    return asked.absoluteString() == text ? asked : Url::parse(text);
}

std::int64_t LiveCurlSegment::contentLength() const {
    curl_off_t length = -1;
    if (m_handle)
        curl_easy_getinfo(m_handle, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    return length > 0 ? length : 0;
}

std::string LiveCurlSegment::protocol() const {
    const char* scheme = nullptr;
    if (m_handle)
        curl_easy_getinfo(m_handle, CURLINFO_SCHEME, &scheme);
    return scheme ? lowered(scheme) : request().url.scheme();
}

std::int64_t LiveCurlSegment::modificationTime() const {
    curl_off_t time = -1;
    if (m_handle)
        curl_easy_getinfo(m_handle, CURLINFO_FILETIME_T, &time);
    return time;
}

std::int64_t LiveCurlSegment::httpCode() const {
    long code = 0;
    if (m_handle)
        curl_easy_getinfo(m_handle, CURLINFO_RESPONSE_CODE, &code);
    return code;
}

} // namespace tarvo
