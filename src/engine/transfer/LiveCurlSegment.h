// The segment that really transfers: one libcurl easy handle.
#pragma once

#include "base/Clock.h"
#include "base/UserDefaults.h"
#include "engine/transfer/ConnectionPools.h"
#include "engine/transfer/CookieStore.h"
#include "engine/transfer/CurlSegment.h"

struct curl_slist;

namespace tarvo {

/// What every transfer needs to know of the program. All of it outlives the transfers.
struct TransferEnvironment {
    const UserDefaults& defaults;
    const CookieStore& cookies;
    const Clock& clock;
    /// Each of the two requests of a probe may take so long.
    Seconds probeTimeLimit{30.0};
    /// Shared by all probes and transfers. The program calls its closeIdle() about once a second.
    std::shared_ptr<ConnectionPools> connectionPools = std::make_shared<ConnectionPools>(clock);
};

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

    void* curlHandle() override { return m_handle; }

    void configure() override;
    void pause() override;
    void resume() override;

    std::optional<Error> error() const override;
    std::optional<Url> effectiveUrl() const override;
    std::int64_t contentLength() const override;
    std::string protocol() const override;
    std::int64_t modificationTime() const override;
    std::int64_t httpCode() const override;

private:
    /// The first option that can't be set is the transfer's error.
    template <class Value>
    void set(void* handle, int option, Value value);
    void set(void* handle, int option, const std::string& value);

    void configureRequest();
    void configureBody();
    void configureCredentials();
    void configureSshLogin(const TRAuthToken& token);
    void configureIdentity();
    void configureProxy();

    /// To be called whenever libcurl asks whether to go on. While a silent server does not answer to the
    /// close of a file, libcurl asks thousands of times within one turn of the loop, as fast as the processor
    /// can.
    void restWhileLibcurlSpins();

    /// Sets what depends on the address that is about to be asked, which a redirect may have named.
    void configureNextRequest();

    /// Sets what a redirect to the address that is about to be asked lets its host know.
    void setReferer();

    /// What libcurl calls, with the segment as the user pointer.
    struct Callbacks;

    const TransferEnvironment& m_environment;
    void* m_handle = nullptr;
    curl_slist* m_headers = nullptr;
    std::optional<Url> m_lastAsked;  // by this transfer's last request
    std::optional<Error> m_obstacle; // why nothing may be sent
    std::uint64_t m_turn = 0;        // the one in which libcurl has asked m_asked times
    int m_asked = 0;
};

} // namespace tarvo
