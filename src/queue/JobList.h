// The jobs of the queue in their order, and at hand by their state.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <unordered_map>
#include <vector>

#include "jobs/RemoteFile.h"

namespace tarvo {

/// A list of thousands: looking up, counting, removing and moving one job cost no walk. Knows nothing of
/// signals; its owner says when a job has changed its state. Main thread.
class JobList {
public:
    using Job = std::shared_ptr<RemoteFile>;

    /// Where a job stands: the greater the later. Ranks have room between them, so that a job moves
    /// without the others.
    using Rank = std::int64_t;

    /// At the end, where it has the rank that is the answer. The job must not be in the list.
    Rank append(const Job& job);

    /// Answers whether the job was in the list.
    bool remove(const RemoteFile& job);

    /// Before `successor`, or at the end when that is null. Both are in the list. Answers whether the others
    /// have other ranks, too.
    bool moveBefore(const RemoteFile& job, const RemoteFile* successor);

    /// Puts `fresh`, which is not in the list, into the place of `old`, which is.
    void replace(const RemoteFile& old, const Job& fresh);

    /// Takes over the job's present state.
    void updateState(const RemoteFile& job);

    bool contains(const RemoteFile& job) const { return m_places.contains(&job); }

    /// Of a job in the list.
    Rank rankOf(const RemoteFile& job) const { return m_places.at(&job).rank; }

    std::size_t size() const { return m_places.size(); }

    std::size_t countInState(rf_state_t state) const;

    std::vector<Job> jobs() const;

    void forEach(const std::function<void(const Job& job, Rank rank)>& visit) const;

    /// Calls `visit` for the jobs in these states, in order, until it answers false. `visit` may change
    /// states; a job that thereby comes into one of these states behind the present one is visited too.
    void forEachIn(std::initializer_list<rf_state_t> states,
                   const std::function<bool(const Job&)>& visit) const;

private:
    using Ordered = std::map<Rank, Job>;

    struct Place {
        Rank rank;
        rf_state_t state;
    };

    static constexpr std::size_t kStates = rf_state_succeeded + 1;

    void insert(const Job& job, Rank rank);
    void renumber();

    std::uint64_t m_changes = 0; // counts what spoils a position in the maps below
    Ordered m_ordered;
    std::array<Ordered, kStates> m_byState;
    std::unordered_map<const RemoteFile*, Place> m_places;
};

} // namespace tarvo
