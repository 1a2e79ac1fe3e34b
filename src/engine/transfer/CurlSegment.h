// One libcurl transfer of one URL, or of one byte range of it: the lowest layer of the engine.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "base/Clock.h"
#include "base/Error.h"
#include "base/Url.h"
#include "engine/transfer/RequestHeaders.h"
#include "engine/transfer/TRAuthToken.h"

namespace tarvo {

class ConnectionPool;
class CurlSegment;

/// What libcurl's write callback answers to suspend its transfer (CURL_WRITEFUNC_PAUSE, libcurl's page
/// on CURLOPT_WRITEFUNCTION): the block is delivered again on resume.
inline constexpr std::int64_t kPauseTransfer = 0x10000001;

/// Receives what arrives, on the thread that runs the transfer.
class CurlSegmentDelegate {
public:
    virtual ~CurlSegmentDelegate() = default;

    /// One header line, with its line end.
    virtual void curlHasHeader(CurlSegment& layer, std::string_view line) = 0;

    /// A block of the body, 16 KiB at most. Answers the number of bytes consumed; anything but the
    /// whole ends the transfer with libcurl's write error, kPauseTransfer suspends it.
    virtual std::int64_t curlHasData(CurlSegment& layer, std::span<const char> data) = 0;

    /// A chance to act, at least about once a second, also while nothing arrives or libcurl waits for a
    /// server's last word. A negative answer breaks the transfer's connection off and ends it.
    virtual std::int64_t curlHasProgress(CurlSegment& layer) = 0;
};

/// What to fetch and on whose behalf.
struct CurlRequest {
    Url url;
    std::int64_t lowerBound = 0; ///< first byte of the range
    std::int64_t upperBound = 0; ///< one past its last byte; 0: the whole resource
    std::shared_ptr<const TRAuthToken> authToken{};
    std::optional<Url> referer{};
    RequestHeaders headers{}; ///< over HTTP, beside those of all requests, which go before them
    std::string ifRange{}; ///< for a range of the web: of which version only (RFC 9110, 13.1.5); may be empty
    /// The bytes below this offset are on the disk already; what comes is compared with them.
    std::int64_t compareBelow = 0;
    bool isRepeated = false;       ///< another transfer brings the same bytes; what is there is compared
    std::int64_t timeoutMs = 0;    ///< for the whole transfer, in milliseconds; 0: no limit
    bool headRequestOnly = false;  ///< headers only, no body
    bool debugModeEnabled = false; ///< libcurl's trace goes to the log
};

/// One transfer; a new transfer takes a new segment. One thread at a time uses it.
class CurlSegment {
public:
    explicit CurlSegment(CurlRequest request) : m_request(std::move(request)) {}

    virtual ~CurlSegment() = default;
    CurlSegment(const CurlSegment&) = delete;
    CurlSegment& operator=(const CurlSegment&) = delete;

    CurlRequest& request() { return m_request; }

    const CurlRequest& request() const { return m_request; }

    /// Not owned. Without one, what arrives is refused.
    void setDelegate(std::weak_ptr<CurlSegmentDelegate> delegate) { m_delegate = std::move(delegate); }

    /// The libcurl result code of the transfer, 0 for success.
    int errorCode() const { return m_errorCode; }

    void setErrorCode(int code) { m_errorCode = code; }

    /// The libcurl easy handle (CURL*).
    virtual void* curlHandle() = 0;

    /// The pool that carries the transfer; null before and after.
    ConnectionPool* pool() const { return m_pool; }

    void setPool(ConnectionPool* pool) { m_pool = pool; }

    /// Sets every option on the handle. Before it is added to a pool. An option that can't be set has failed
    /// the transfer.
    virtual void configure() = 0;

    virtual void pause() = 0;
    virtual void resume() = 0;

    /// The failure of the transfer, if it failed: ErrorDomain::CurlSegment with libcurl's code, or what has
    /// kept it from being sent at all.
    virtual std::optional<Error> error() const = 0;

    /// The last address used after redirects.
    virtual std::optional<Url> effectiveUrl() const = 0;

    /// The body length that the server announced, in bytes; 0 when unknown.
    virtual std::int64_t contentLength() const = 0;

    /// What the answer was spoken in, as the scheme of an address ("http", "ftp"): after a redirect, or
    /// through a proxy, another one than that of the address. Until there is a connection that of the
    /// address.
    virtual std::string protocol() const = 0;

    /// When the file was last changed, as a file server says, in seconds since 1970; -1 when unknown.
    virtual std::int64_t modificationTime() const = 0;

    /// From a request to its first byte, as it would be for another one, in seconds; 0 while unknown.
    virtual Seconds roundTrip() const { return {}; }

    /// From its first byte to its last one, in seconds; 0 while unknown.
    virtual Seconds bodyTime() const { return {}; }

    /// When the server wants to be asked again at the earliest, from its answer on (RFC 9110, section
    /// 10.2.3); 0 when it has not said so.
    virtual Seconds retryAfter() const { return {}; }

    /// The last response code (HTTP, FTP); 0 when there was none (SFTP has none at all).
    virtual std::int64_t httpCode() const = 0;

protected:
    const std::weak_ptr<CurlSegmentDelegate>& delegate() const { return m_delegate; }

private:
    CurlRequest m_request;
    ConnectionPool* m_pool = nullptr;
    std::weak_ptr<CurlSegmentDelegate> m_delegate;
    int m_errorCode = 0;
};

} // namespace tarvo
