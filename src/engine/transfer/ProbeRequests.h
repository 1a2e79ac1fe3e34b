// The two requests of a probe: of a web server at the same time.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "base/Locked.h"
#include "engine/transfer/CurlMulti.h"
#include "engine/transfer/LiveCurlSegment.h"

namespace tarvo {

/// One asks for the headers of a file, the other for its byte at offset 1. Made for one run on a worker, and
/// read there when that is over. A web server is asked for both at once, for a round trip is what they cost.
/// What only one of the two was denied is asked for again, alone: the server may not like two connections.
/// Where there is room for one only, the headers are asked for if the byte has left something open. A file
/// server is asked for one after the other: there it is the login that costs, and a refused one counts.
class ProbeRequests final : public CurlDownloaderDelegate,
                            public CurlMultiDelegate,
                            public std::enable_shared_from_this<ProbeRequests> {
public:
    /// `request` says what is asked for, and on whose behalf. `environment` outlives the object.
    static std::shared_ptr<ProbeRequests> create(const CurlRequest& request,
                                                 const TransferEnvironment& environment);

    static constexpr std::int64_t kMostConnections = 2;

    /// Over so many connections at the most.
    void run(std::int64_t connections = kMostConnections);

    /// Ends a run at once, the present one or the next. Any thread.
    void requestStop();

    const CurlDownloader& head() const { return *m_head; }

    const CurlDownloader& body() const { return *m_body; }

    /// What the second one has brought; more than a byte where the server has ignored that it was asked for
    /// one.
    std::int64_t bodyBytes() const { return m_bodyBytes; }

    std::int64_t downloaderHasData(CurlDownloader& downloader, std::span<const char> data,
                                   std::int64_t offset) override;
    void childHasEnded(CurlMulti& loop, CurlDownloader& child) override;
    void loopHasTurned(CurlMulti& loop) override;

private:
    struct Running {
        std::shared_ptr<CurlMulti> loop;
        bool isStopped = false;
    };

    ProbeRequests(const CurlRequest& request, const TransferEnvironment& environment)
        : m_request(request), m_environment(environment) {}

    std::shared_ptr<CurlDownloader> download(const CurlRequest& request);
    std::shared_ptr<CurlDownloader> makeHead();
    std::shared_ptr<CurlDownloader> makeBody();
    void runTogether();
    void runBodyFirst();
    void runLoop(const CurlMulti::Children& downloads);
    bool oneByteIsAll() const;
    bool headIsNeeded() const;

    const CurlRequest m_request;
    const TransferEnvironment& m_environment;
    std::shared_ptr<CurlDownloader> m_head;
    std::shared_ptr<CurlDownloader> m_body;
    std::int64_t m_bodyBytes = 0;
    TimePoint m_begun{};
    std::optional<TimePoint> m_firstHasEnded; // of two that run together
    Locked<Running> m_running;
};

bool isLoginDenied(const CurlDownloader& download);

} // namespace tarvo
