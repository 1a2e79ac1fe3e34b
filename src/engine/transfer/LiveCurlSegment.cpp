#include "engine/transfer/LiveCurlSegment.h"

#include "base/Localized.h"
#include "base/Log.h"
#include "base/Text.h"
#include "engine/progress/ConnectionAllowance.h"
#include "engine/transfer/ConnectionPool.h"
#include "engine/transfer/CookieHelper.h"
#include "engine/transfer/EasyHandle.h"
#include "engine/transfer/RangeAnswer.h"
#include "engine/transfer/Referer.h"
#include "engine/transfer/RequestOptions.h"

#include <algorithm>
#include <mutex>
#include <thread>
#include <utility>

#include <curl/curl.h>

namespace tarvo {

namespace {

// A transfer takes some ten steps in one turn, and libcurl asks once at each.
constexpr int kMostQuestionsOfATurn = 100;
constexpr std::chrono::milliseconds kRest{10};

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
        return self->m_handle->failure() == CURLE_OK ? CURL_PREREQFUNC_OK : CURL_PREREQFUNC_ABORT;
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
        if (self->pool() && !self->pool()->mayTake(*self))
            return kPauseTransfer;
        const auto taken = static_cast<std::size_t>(delegate->curlHasData(*self, {data, size * count}));
        if (self->pool() && taken == size * count)
            self->pool()->noteArrived(static_cast<std::int64_t>(taken));
        return taken;
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

template <class Value>
Value LiveCurlSegment::info(int about, Value unknown) const {
    return m_handle ? m_handle->info(static_cast<CURLINFO>(about), unknown) : unknown;
}

void LiveCurlSegment::startUp() {
    std::call_once(startedUp, [] { curl_global_init(CURL_GLOBAL_ALL); });
}

void LiveCurlSegment::cleanup() {
    std::call_once(cleanedUp, [] { curl_global_cleanup(); });
}

LiveCurlSegment::LiveCurlSegment(CurlRequest request, const TransferEnvironment& environment)
    : CurlSegment(std::move(request)), m_environment(environment) {
}

LiveCurlSegment::~LiveCurlSegment() = default;

void* LiveCurlSegment::curlHandle() {
    return m_handle ? m_handle->get() : nullptr;
}

void LiveCurlSegment::configure() {
    startUp();
    m_handle = std::make_unique<EasyHandle>(m_environment.connectionPools->share());
    m_obstacle = setRequestOptions(*m_handle, request(), m_environment.defaults, m_environment.traits);
    setCallbacks(*m_handle);
    setErrorCode(m_handle->failure());
}

void LiveCurlSegment::setCallbacks(EasyHandle& handle) {
    handle.set(CURLOPT_PRIVATE, static_cast<CurlSegment*>(this));
    if (request().debugModeEnabled) {
        handle.set(CURLOPT_VERBOSE, 1L);
        handle.set(CURLOPT_DEBUGFUNCTION, &Callbacks::onDebugText);
        handle.set(CURLOPT_DEBUGDATA, this);
    }
    handle.set(CURLOPT_COOKIEFILE, "");
    // A cookie text that is set once would follow a redirect to any host (CURLOPT_COOKIE).
    handle.set(CURLOPT_PREREQFUNCTION, &Callbacks::onRequest);
    handle.set(CURLOPT_PREREQDATA, this);
    handle.set(CURLOPT_HEADERFUNCTION, &Callbacks::onHeader);
    handle.set(CURLOPT_HEADERDATA, this);
    // A proxy's own answer to CONNECT is not the file's.
    handle.set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    handle.set(CURLOPT_NOPROGRESS, 0L);
    handle.set(CURLOPT_XFERINFOFUNCTION, &Callbacks::onProgress);
    handle.set(CURLOPT_XFERINFODATA, this);
    // FTP delivers header-like lines as a body; without a callback they would go to standard output.
    handle.set(CURLOPT_WRITEFUNCTION,
               request().headRequestOnly ? &Callbacks::onDiscardedData : &Callbacks::onData);
    handle.set(CURLOPT_WRITEDATA, this);
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
    m_handle->set(CURLOPT_FORBID_REUSE, breaksOff ? 1L : 0L);
    std::string cookies;
    if (url && !m_environment.cookies.isEmpty())
        cookies =
            CookieHelper::combineCookiesForURL(*url, &m_environment.cookies, m_environment.clock.wallNow());
    // An empty text would send an empty Cookie header, which RFC 6265 (section 4.2.1) does not allow.
    m_handle->set(CURLOPT_COOKIE, cookies.empty() ? nullptr : cookies.c_str());
}

void LiveCurlSegment::setReferer() {
    const auto asked = effectiveUrl();
    // A challenge is answered at the same address. What the user has set goes along as it is.
    if (m_lastAsked && asked && *m_lastAsked != *asked && !request().referer) {
        const auto referer = refererAfterRedirect(*m_lastAsked, *asked);
        m_handle->set(CURLOPT_REFERER, referer ? referer->c_str() : nullptr);
    }
    m_lastAsked = asked;
}

void LiveCurlSegment::pause() {
    Log::verbose("Paused");
    curl_easy_pause(curlHandle(), CURLPAUSE_ALL);
}

void LiveCurlSegment::resume() {
    Log::verbose("Resumed");
    curl_easy_pause(curlHandle(), CURLPAUSE_CONT);
}

std::optional<Error> LiveCurlSegment::error() const {
    if (errorCode() == CURLE_OK)
        return std::nullopt;
    if (m_obstacle)
        return m_obstacle;
    // libcurl tells the end of a tunnel that was refused as a connection that failed.
    if (info<long>(CURLINFO_HTTP_CONNECTCODE, 0) == kProxyAsksForPassword)
        return httpStatusError(kProxyAsksForPassword);
    const bool sshFailed =
        errorCode() == CURLE_FAILED_INIT && effectiveUrl().value_or(request().url).scheme() == "sftp";
    return Error{std::string(ErrorDomain::CurlSegment), errorCode(),
                 sshFailed ? localized("tr.err.ssh-fail")
                           : std::string(curl_easy_strerror(static_cast<CURLcode>(errorCode()))) + ".",
                 ""};
}

std::optional<Url> LiveCurlSegment::effectiveUrl() const {
    const char* text = info<const char*>(CURLINFO_EFFECTIVE_URL, nullptr);
    if (!text)
        return std::nullopt;
    // Asked for with every request, and mostly the same: reading an address costs more than comparing it.
    const Url& asked = request().url;
    return asked.absoluteString() == text ? asked : Url::parse(text);
}

std::int64_t LiveCurlSegment::contentLength() const {
    return std::max<std::int64_t>(info<curl_off_t>(CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, 0), 0);
}

std::string LiveCurlSegment::protocol() const {
    const char* scheme = info<const char*>(CURLINFO_SCHEME, nullptr);
    return scheme ? lowered(scheme) : request().url.scheme();
}

std::int64_t LiveCurlSegment::modificationTime() const {
    return info<curl_off_t>(CURLINFO_FILETIME_T, -1);
}

Seconds LiveCurlSegment::roundTrip() const {
    const auto begun = info<curl_off_t>(CURLINFO_STARTTRANSFER_TIME_T, 0);
    // A web server's connection stays; a file server has to be logged in to again.
    const auto ready = protocol().starts_with("http") ? info<curl_off_t>(CURLINFO_PRETRANSFER_TIME_T, 0) : 0;
    return std::chrono::microseconds(std::max<curl_off_t>(begun - ready, 0));
}

Seconds LiveCurlSegment::bodyTime() const {
    const auto begun = info<curl_off_t>(CURLINFO_STARTTRANSFER_TIME_T, 0);
    const auto ended = info<curl_off_t>(CURLINFO_TOTAL_TIME_T, 0);
    return std::chrono::microseconds(std::max<curl_off_t>(ended - begun, 0));
}

Seconds LiveCurlSegment::retryAfter() const {
    // A date that has passed is told as a negative time.
    const auto wait = info<curl_off_t>(CURLINFO_RETRY_AFTER, 0);
    return std::clamp(Seconds(static_cast<double>(wait)), Seconds(0), ConnectionAllowance::kLongestAskedFor);
}

std::int64_t LiveCurlSegment::httpCode() const {
    return info<long>(CURLINFO_RESPONSE_CODE, 0);
}

} // namespace tarvo
