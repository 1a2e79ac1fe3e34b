// Fetches one file over its connections, and gives it its final name.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "base/Locked.h"
#include "base/ThreadOwner.h"
#include "engine/transfer/CurlMulti.h"
#include "jobs/ConnectionMediator.h"
#include "jobs/ConnectionPlan.h"
#include "jobs/DownloadFacts.h"
#include "jobs/DownloadPreparation.h"
#include "jobs/Finishing.h"
#include "jobs/ProgressSaver.h"
#include "jobs/Speedometer.h"

namespace tarvo {

/// One transfer of a job. Made on the main thread, before it is started; run() and all that it calls belong
/// to the transfer thread. It holds nothing of the job but what it is given.
class SegmentedTransfer final : public CurlDownloaderDelegate,
                                public ConnectionKeeper,
                                public std::enable_shared_from_this<SegmentedTransfer> {
public:
    struct Parts {
        RecordedRequest request;
        std::shared_ptr<DataIntake> intake;
        const JobEnvironment& environment;
        Speedometer& speedometer;       ///< outlives the run
        std::function<void()> announce; ///< called when bytes have come, at most every 10 ms or so
    };

    /// The name that the file is to have, asked for once all bytes are there; none: the program is quitting.
    using AskName = std::function<std::optional<std::string>()>;

    static std::shared_ptr<SegmentedTransfer> create(Parts parts, ReadyDownload ready);

    /// Fetches what is missing and finishes the file; what has come by a failure is saved before it returns.
    /// Error: the first of a connection, of the disk, or why the job has been stopped.
    Result<FinishedFile> run(const AskName& askName);

    /// Each at once, from any thread, also before the run. What is stopped stays stopped.
    void requestPause();
    void requestResume();
    void requestStop();

    /// How many connections there are. Any thread.
    std::int64_t activeConnections() {
        return static_cast<std::int64_t>(m_control.lock()->connections.size());
    }

    /// See Finishing. Any thread.
    std::optional<std::int64_t> bytesVerified() const { return m_finishing.bytesVerified(); }

    /// Whether it waits for a connection that the server, or the user, allows. Any thread.
    bool isWaiting() const { return m_isWaiting; }

    /// What keeps it from having as many connections as it wants. Any thread.
    std::optional<ConnectionLimit> connectionLimit() const;

    /// Adds the connections that have not ended. Any thread.
    void addTo(SegmentsSnapshot& snapshot);

    std::int64_t downloaderHasData(CurlDownloader& downloader, std::span<const char> data,
                                   std::int64_t offset) override;
    void downloaderHasParsedHeader(CurlDownloader& downloader, const std::string& key,
                                   const std::string& value) override;

    ByteRanges missing() override;
    std::shared_ptr<CurlDownloader> addConnection(const ByteRange& range) override;
    void dropEnded() override;

private:
    /// What requests from other threads reach.
    struct Control {
        HandleCreator::Handles connections; // that activeConnections() counts
        std::shared_ptr<CurlMulti> loop;
        std::shared_ptr<CurlMulti> check; // of the version, at the end
        bool isPaused = false;
        bool isStopped = false;
    };

    SegmentedTransfer(Parts parts, ReadyDownload ready);

    Result<FinishedFile> fetchAndFinish(const AskName& askName);
    Result<void> checkSpace();
    Result<void> runLoops();
    Result<void> runLoop();
    bool awaitPlaces();
    void setConnections(HandleCreator::Handles connections);
    std::shared_ptr<ConnectionMediator> makeMediator();
    std::shared_ptr<CurlMulti> startLoop(const std::shared_ptr<ConnectionMediator>& mediator);
    Result<void> confirmVersion(const CurlDownloader& part);

    const Parts m_parts;
    const DownloadSource m_source;
    Finishing m_finishing;
    std::shared_ptr<CurlDownloader> m_lastPart; // see ConnectionMediator
    const std::shared_ptr<HostShare> m_share;
    std::vector<std::int64_t> m_starts; // of the parts that were planned
    bool m_wasCrowdedOut = false;       // of its last connection
    std::atomic<bool> m_isWaiting{false};
    Locked<Control> m_control;
    ThreadOwner m_owner;
};

} // namespace tarvo
