// The segment that really transfers: one libcurl easy handle.
#pragma once

#include "engine/transfer/CurlSegment.h"
#include "engine/transfer/TransferEnvironment.h"

namespace tarvo {

class EasyHandle;

/// Light until it is configured: the easy handle comes into being only then.
class LiveCurlSegment final : public CurlSegment {
public:
    /// `environment` outlives this.
    LiveCurlSegment(CurlRequest request, const TransferEnvironment& environment);
    ~LiveCurlSegment() override;

    /// Sets libcurl up, once for the process, before the first transfer. Main thread.
    static void startUp();

    /// Cleans libcurl up, once, after the last transfer. Main thread.
    static void cleanup();

    void* curlHandle() override;

    void configure() override;
    void pause() override;
    void resume() override;

    std::optional<Error> error() const override;
    std::optional<Url> effectiveUrl() const override;
    std::int64_t contentLength() const override;
    std::string protocol() const override;
    std::int64_t modificationTime() const override;
    std::int64_t httpCode() const override;
    Seconds roundTrip() const override;
    Seconds bodyTime() const override;
    Seconds retryAfter() const override;

private:
    /// What libcurl calls, with the segment as the user pointer.
    struct Callbacks;

    void setCallbacks(EasyHandle& handle);

    template <class Value>
    Value info(int about, Value unknown) const;

    /// To be called whenever libcurl asks whether to go on. While a silent server does not answer to the
    /// close of a file, libcurl asks thousands of times within one turn of the loop, as fast as the processor
    /// can.
    void restWhileLibcurlSpins();

    /// Sets what depends on the address that is about to be asked, which a redirect may have named.
    void configureNextRequest();

    /// Sets what a redirect to the address that is about to be asked lets its host know.
    void setReferer();

    const TransferEnvironment& m_environment;
    std::unique_ptr<EasyHandle> m_handle;
    std::optional<Url> m_lastAsked;  // by this transfer's last request
    std::optional<Error> m_obstacle; // why nothing may be sent
    std::uint64_t m_turn = 0;        // the one in which libcurl has asked m_asked times
    int m_asked = 0;
};

} // namespace tarvo
