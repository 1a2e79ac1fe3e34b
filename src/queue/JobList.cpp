#include "queue/JobList.h"

#include "base/Log.h"
#include "base/Runloop.h"

#include <limits>

namespace tarvo {

namespace {

constexpr std::int64_t kRoom = std::int64_t{1} << 20;

} // namespace

void JobList::insert(const Job& job, Rank rank) {
    ++m_changes;
    const rf_state_t state = job->currentState();
    m_ordered.emplace(rank, job);
    m_byState.at(state).emplace(rank, job);
    m_places.insert_or_assign(job.get(), Place{rank, state});
}

JobList::Rank JobList::append(const Job& job) {
    Runloop::assertMain();
    if (!Log::assertThat(!contains(*job)))
        return rankOf(*job);
    const Rank rank = m_ordered.empty() ? 0 : m_ordered.rbegin()->first + kRoom;
    insert(job, rank);
    return rank;
}

bool JobList::remove(const RemoteFile& job) {
    Runloop::assertMain();
    const auto found = m_places.find(&job);
    if (found == m_places.end())
        return false;
    ++m_changes;
    const Place place = found->second;
    m_places.erase(found);
    m_byState.at(place.state).erase(place.rank);
    m_ordered.erase(place.rank); // last: it may hold the last reference
    return true;
}

bool JobList::moveBefore(const RemoteFile& job, const RemoteFile* successor) {
    Runloop::assertMain();
    if (&job == successor || !Log::assertThat(contains(job) && (!successor || contains(*successor))))
        return false;
    const Job moved = m_ordered.at(m_places.at(&job).rank);
    remove(job);
    if (!successor) {
        append(moved);
        return false;
    }
    auto next = m_ordered.find(m_places.at(successor).rank);
    const bool isNarrow = next != m_ordered.begin() && next->first - std::prev(next)->first < 2;
    if (isNarrow) {
        renumber();
        next = m_ordered.find(m_places.at(successor).rank);
    }
    const Rank before = next == m_ordered.begin() ? next->first - kRoom : std::prev(next)->first;
    insert(moved, before + (next->first - before) / 2);
    return isNarrow;
}

void JobList::replace(const RemoteFile& old, const Job& fresh) {
    Runloop::assertMain();
    const Rank rank = m_places.at(&old).rank;
    remove(old);
    insert(fresh, rank);
}

void JobList::renumber() {
    const auto jobsInOrder = jobs();
    m_ordered.clear();
    for (auto& ofState : m_byState)
        ofState.clear();
    Rank rank = 0;
    for (const auto& job : jobsInOrder)
        insert(job, rank += kRoom);
}

void JobList::updateState(const RemoteFile& job) {
    Runloop::assertMain();
    const auto found = m_places.find(&job);
    if (!Log::assertThat(found != m_places.end()))
        return;
    ++m_changes;
    Place& place = found->second;
    auto node = m_byState.at(place.state).extract(place.rank);
    place.state = job.currentState();
    m_byState.at(place.state).insert(std::move(node));
}

std::size_t JobList::countInState(rf_state_t state) const {
    return m_byState.at(state).size();
}

std::vector<JobList::Job> JobList::jobs() const {
    std::vector<Job> all;
    all.reserve(m_ordered.size());
    for (const auto& [rank, job] : m_ordered)
        all.push_back(job);
    return all;
}

void JobList::forEach(const std::function<void(const Job& job, Rank rank)>& visit) const {
    for (const auto& [rank, job] : m_ordered)
        visit(job, rank);
}

void JobList::forEachIn(std::initializer_list<rf_state_t> states,
                        const std::function<bool(const Job&)>& visit) const {
    std::vector<Ordered::const_iterator> nextOf(states.size());
    Rank reached = std::numeric_limits<Rank>::min();
    std::uint64_t seen = m_changes - 1; // so that the places are looked up first
    while (true) {
        std::size_t next = states.size();
        for (std::size_t i = 0; i < states.size(); ++i) {
            const Ordered& ofState = m_byState.at(states.begin()[i]);
            if (seen != m_changes)
                nextOf[i] = ofState.upper_bound(reached);
            if (nextOf[i] != ofState.end() &&
                (next == states.size() || nextOf[i]->first < nextOf[next]->first))
                next = i;
        }
        if (next == states.size())
            return;
        seen = m_changes;
        reached = nextOf[next]->first;
        const Job job = nextOf[next]->second; // the visit may remove it
        ++nextOf[next];
        if (!visit(job))
            return;
    }
}

} // namespace tarvo
