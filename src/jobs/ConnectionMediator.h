// Has the connections of a transfer share what is missing, while they run.
#pragma once

#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <vector>

#include "base/Clock.h"
#include "engine/progress/ConnectionRule.h"
#include "engine/transfer/CurlMulti.h"
#include "engine/transfer/HostConnections.h"

namespace tarvo {

/// What a mediator needs of the transfer whose connections it mediates between. On the transfer thread.
class ConnectionKeeper {
public:
    virtual ~ConnectionKeeper() = default;

    /// What the data file lacks, ascending.
    virtual ByteRanges missing() = 0;

    /// Has one more connection bring `range`. Null when nothing is begun any more.
    virtual std::shared_ptr<CurlDownloader> addConnection(const ByteRange& range) = 0;

    /// Lets go of the connections that have ended.
    virtual void dropEnded() = 0;
};

/// Watches the connections of one loop, asks the rule (nextSteps) what to do whenever one has ended, and ten
/// times a second, and does it. All calls on the transfer thread.
class ConnectionMediator final : public CurlMultiDelegate {
public:
    struct Limits {
        std::int64_t connections = 1;       ///< at most, at the same time
        std::int64_t leastChunk = 1;        ///< bytes: no range is cut smaller
        bool adapts = false;                ///< false: one stream, which nothing can take over
        std::vector<std::int64_t> starts{}; ///< of the parts that were planned, ascending offsets
    };

    /// `keeper` and `clock` outlive it; `share` is the transfer's.
    ConnectionMediator(ConnectionKeeper& keeper, const Clock& clock, std::shared_ptr<HostShare> share,
                       Limits limits, std::int64_t fileSize);

    /// Before the loop starts: one of those that it begins with.
    void watch(std::shared_ptr<CurlDownloader> connection);

    void childHasEnded(CurlMulti& loop, CurlDownloader& child) override;
    void loopHasTurned(CurlMulti& loop) override;

    /// What has kept bytes from coming: a refusal that time does not heal, else what the last connection has
    /// failed with. After the run.
    std::optional<Error> failure() const { return m_refusal ? m_refusal : m_failure; }

    /// Whether the server has turned the last one away while it served other transfers. After the run.
    bool wasCrowdedOut() const { return m_wasCrowdedOut; }

    /// One of those that came in last and have brought bytes. After the run.
    std::shared_ptr<CurlDownloader> lastPart() const { return m_lastPart; }

private:
    struct Worker {
        std::shared_ptr<CurlDownloader> connection;
        TimePoint askedAt;
        std::int64_t offset; // at the last look
        TimePoint lastByteAt;
        double speed = 0;
        int group = 0; // see WorkingRange

        bool hasBegun() const;
    };

    using Workers = std::list<Worker>;

    void noteEnd(const Worker& worker);
    bool measure(TimePoint now);
    bool maySend() const;
    std::int64_t speaking(TimePoint now) const;
    std::int64_t taken(TimePoint now);
    void share(TimePoint now);
    void makeRoom(TimePoint now);
    void giveBack(std::int64_t surplus);
    WorkSituation situation(TimePoint now);
    void carryOut(const WorkStep& step, const std::vector<Worker*>& workers, TimePoint now);
    void repeat(const WorkStep& step, Worker& worker);
    void leaveGroup(const Worker& worker, bool isWhole);
    static void endHere(Worker& worker);
    Worker* begin(std::int64_t from, std::int64_t to);

    ConnectionKeeper& m_keeper;
    const Clock& m_clock;
    const Limits m_limits;
    const std::int64_t m_fileSize;
    const std::shared_ptr<HostShare> m_share;
    Workers m_workers;
    std::vector<TimePoint> m_leaving; // until when those that were broken off may be at work for the server
    int m_groups = 0;
    std::vector<double> m_recentSpeeds; // of those that have ended last
    Seconds m_roundTrip{};
    double m_usualSpeed = 0;
    double m_lineSpeed = 0;
    TimePoint m_nextLook{};
    bool m_someHaveEnded = false;
    bool m_lastWasInVain = false;
    bool m_wasCrowdedOut = false;
    std::optional<Error> m_refusal;
    std::optional<Error> m_failure;
    std::shared_ptr<CurlDownloader> m_lastPart;
};

} // namespace tarvo
