// Who may have how many connections to a host, counted and learned over all transfers.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Clock.h"
#include "base/Locked.h"
#include "base/UserDefaults.h"
#include "engine/progress/ConnectionAllowance.h"
#include "engine/progress/PlaceDivision.h"

namespace tarvo {

/// What was found out of a host: its origin (Url::origin()), how many connections it allows, and when.
struct LearnedLimit {
    std::string host;
    std::int64_t connections = 1;
    WallTime at{};

    bool operator==(const LearnedLimit& other) const = default;
};

/// Why a transfer has fewer connections than it wants.
struct ConnectionLimit {
    std::int64_t most = 1;   ///< over all transfers from the host
    bool isByServer = false; ///< else the user has set it
};

class HostShare;

/// Any thread. Shares may outlive it.
class HostConnections {
public:
    /// What is learned holds for so long after it was last seen to be true.
    static constexpr std::chrono::seconds kKept{std::chrono::days(1)};
    /// Of so many hosts at the most.
    static constexpr std::size_t kMostKept = 256;

    /// Both outlive it and all shares.
    HostConnections(const UserDefaults& defaults, const Clock& clock);

    /// For one more transfer from `host` (Url::origin()), or probe. Where there are fewer places than
    /// transfers, those come first that have claimed theirs first.
    std::shared_ptr<HostShare> join(const std::string& host);

    /// How many connections bring bytes from `host`, over all transfers.
    std::int64_t atWork(const std::string& host) const;

    /// What is known and not too old, the latest first.
    std::vector<LearnedLimit> learned() const;

    /// What was learned earlier; of hosts about which more is known already it is passed over.
    void restore(const std::vector<LearnedLimit>& limits);

    /// Called on any thread when something was learned that is worth keeping. Before the first transfer.
    void setObserver(std::function<void()> learnedMore) {
        m_books->lock()->learnedMore = std::move(learnedMore);
    }

private:
    friend class HostShare;

    struct Transfer {
        const HostShare* share;
        PlaceClaim claim;
        std::int64_t begun = 0; // bring bytes
    };

    struct Host {
        ConnectionAllowance allowance;
        std::int64_t told = ConnectionAllowance::kNoLimit; // known when that was last told
        WallTime learnedAt{};
        std::vector<Transfer> transfers; // in the order in which they have joined

        bool isKnown() const { return allowance.known() != ConnectionAllowance::kNoLimit; }

        Transfer& of(const HostShare& share);
        void drop(const HostShare& share);
        std::int64_t takenByOthers(const HostShare& share) const;
        std::int64_t begun() const;
    };

    struct Books {
        const UserDefaults& defaults;
        const Clock& clock;
        std::map<std::string, Host> hosts{};
        std::function<void()> learnedMore{};

        const Host& host(const std::string& name) const;
        std::function<void()> toTell(Host& host, bool isNews);
        void forgetTheOldest();
    };

    std::shared_ptr<Locked<Books>> m_books;
};

/// What one transfer, or probe, has of the connections to its host; given back when it goes. Any thread,
/// though what is claimed and settled belongs to one.
class HostShare {
public:
    HostShare(std::shared_ptr<Locked<HostConnections::Books>> books, std::string host);
    ~HostShare();

    HostShare(const HostShare&) = delete;
    HostShare& operator=(const HostShare&) = delete;

    /// Has `taken` connections and would use `wanted`. What is free of its part counts as taken until
    /// settle().
    PlaceChange claim(std::int64_t taken, std::int64_t wanted);

    /// Waits for the first of `wanted` places and takes as many as are free. 0 where there was none for as
    /// long as `goesOn` has said so. On a worker.
    std::int64_t awaitPlaces(std::int64_t wanted, const std::function<bool()>& goesOn);

    /// Has `taken` connections, of which `begun` bring bytes, and would use `wanted`.
    void settle(std::int64_t taken, std::int64_t begun, std::int64_t wanted);

    /// Has none any more, and wants none until the next claim().
    void leave();

    /// One of its connections was turned away, `taken` are left; see ConnectionAllowance::noteRefusal().
    void noteRefusal(Refusal kind, std::int64_t taken, Seconds retryAfter);

    /// Whether the host has turned connections away.
    bool isLimited() const;

    /// How many connections bring bytes to other transfers from the host.
    std::int64_t othersAtWork() const;

    /// What keeps a transfer from having as many as it wants; none where nothing does.
    std::optional<ConnectionLimit> limit(std::int64_t wanted) const;

private:
    std::int64_t places(HostConnections::Books& books, const HostConnections::Host& host) const;

    const std::shared_ptr<Locked<HostConnections::Books>> m_books;
    const std::string m_host;
};

} // namespace tarvo
