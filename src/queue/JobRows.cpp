#include "queue/JobRows.h"

#include "base/Log.h"
#include "base/Runloop.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <utility>

namespace tarvo {

bool JobRows::shows(const RemoteFile& job) const {
    const auto& states = m_filteredStates;
    const bool hasState =
        states.empty() || std::find(states.begin(), states.end(), job.currentState()) != states.end();
    return hasState && m_search.matches(job);
}

/// The row that the job has, or would have if it were shown.
std::size_t JobRows::placeOf(const RemoteFile& job) const {
    const auto place = std::lower_bound(m_rows.begin(), m_rows.end(), m_content.rankOf(job),
                                        [](const Row& row, JobList::Rank rank) { return row.rank < rank; });
    return static_cast<std::size_t>(place - m_rows.begin());
}

bool JobRows::isAt(std::size_t row, const RemoteFile& job) const {
    return row < m_rows.size() && m_rows[row].job == &job;
}

std::optional<int> JobRows::rowOf(const RemoteFile& job) const {
    const auto last = m_lastRowOf.find(&job);
    if (last != m_lastRowOf.end() && isAt(last->second, job))
        return static_cast<int>(last->second);
    const auto row = m_content.contains(job) ? placeOf(job) : m_rows.size();
    if (!isAt(row, job))
        return std::nullopt;
    m_lastRowOf.insert_or_assign(&job, row);
    return static_cast<int>(row);
}

std::vector<JobRows::Job> JobRows::arrangedObjectsAsArray() const {
    std::vector<Job> rows;
    rows.reserve(m_rows.size());
    for (const auto& row : m_rows)
        rows.push_back(row.job->shared_from_this());
    return rows;
}

void JobRows::setFilter(const JobFilter& filter) {
    Runloop::assertMain();
    if (filter.states == m_filteredStates)
        return;
    Q_EMIT rowsAboutToBeReset();
    m_filteredStates = filter.states;
    showAnew();
    Q_EMIT rowsReset();
}

void JobRows::setSearch(const std::string& text) {
    Runloop::assertMain();
    JobSearch search(text);
    if (search == m_search)
        return;
    Q_EMIT rowsAboutToBeReset();
    m_search = std::move(search);
    showAnew();
    Q_EMIT rowsReset();
}

void JobRows::showAnew() {
    m_rows.clear();
    m_lastRowOf.clear();
    m_content.forEach([this](const Job& job, JobList::Rank rank) {
        if (shows(*job))
            m_rows.push_back({rank, job.get()});
    });
}

std::size_t JobRows::countShownBy(const JobFilter& filter) const {
    if (filter.states.empty())
        return m_content.size();
    return std::accumulate(
        filter.states.begin(), filter.states.end(), std::size_t{0},
        [this](std::size_t count, rf_state_t state) { return count + m_content.countInState(state); });
}

void JobRows::append(const std::vector<Job>& jobs) {
    Runloop::assertMain();
    std::vector<Row> shown;
    shown.reserve(jobs.size());
    for (const auto& job : jobs) {
        const JobList::Rank rank = m_content.append(job);
        if (shows(*job))
            shown.push_back({rank, job.get()});
    }
    insertRows(m_rows.size(), shown);
}

void JobRows::insertRows(std::size_t first, const std::vector<Row>& rows) {
    if (rows.empty())
        return;
    const int from = static_cast<int>(first);
    const int to = static_cast<int>(first + rows.size() - 1);
    Q_EMIT rowsAboutToBeInserted(from, to);
    m_rows.insert(m_rows.begin() + from, rows.begin(), rows.end());
    Q_EMIT rowsInserted(from, to);
}

void JobRows::removeRows(int first, int last) {
    Q_EMIT rowsAboutToBeRemoved(first, last);
    const auto begin = m_rows.begin() + first;
    const auto end = m_rows.begin() + last + 1;
    if (!m_lastRowOf.empty())
        std::for_each(begin, end, [this](const Row& row) { m_lastRowOf.erase(row.job); });
    m_rows.erase(begin, end);
    Q_EMIT rowsRemoved(first, last);
}

void JobRows::take(const std::vector<Job>& jobs) {
    Runloop::assertMain();
    std::vector<int> rows;
    rows.reserve(jobs.size());
    std::size_t row = m_rows.size();
    for (const auto& job : jobs) {
        if (!isAt(++row, *job) && m_content.contains(*job)) // mostly they come in their order
            row = placeOf(*job);
        if (isAt(row, *job))
            rows.push_back(static_cast<int>(row));
    }
    // From the end on, so that those in front keep their numbers.
    std::sort(rows.begin(), rows.end(), std::greater<>());
    for (auto last = rows.begin(); last != rows.end();) {
        auto next = std::next(last);
        while (next != rows.end() && *next == *std::prev(next) - 1)
            ++next;
        removeRows(*std::prev(next), *last);
        last = next;
    }
    for (const auto& job : jobs)
        m_content.remove(*job);
}

void JobRows::replace(const RemoteFile& old, const Job& fresh) {
    Runloop::assertMain();
    const auto row = rowOf(old);
    const bool isShown = shows(*fresh);
    if (row && !isShown)
        removeRows(*row, *row);
    m_content.replace(old, fresh);
    if (row && isShown) {
        m_lastRowOf.erase(&old);
        m_rows[static_cast<std::size_t>(*row)].job = fresh.get();
        Q_EMIT rowReplaced(*row);
    } else if (isShown) {
        insertRows(placeOf(*fresh), {{m_content.rankOf(*fresh), fresh.get()}});
    }
}

void JobRows::takeOverState(RemoteFile& job, bool mayMoveRows) {
    Runloop::assertMain();
    m_content.updateState(job);
    if (!m_filteredStates.empty() && mayMoveRows)
        showOrHide(job);
}

void JobRows::takeOverName(RemoteFile& job, bool mayMoveRows) {
    Runloop::assertMain();
    if (!m_search.isEmpty() && mayMoveRows)
        showOrHide(job);
}

void JobRows::showOrHide(RemoteFile& job) {
    const auto row = rowOf(job);
    if (row && !shows(job))
        removeRows(*row, *row);
    else if (!row && shows(job))
        insertRows(placeOf(job), {{m_content.rankOf(job), &job}});
}

void JobRows::moveObjectsInArrangedObjects(const std::set<int>& fromRows, int toRow) {
    Runloop::assertMain();
    std::vector<std::vector<Job>> ranges;
    int before = -2;
    for (const int row : fromRows) {
        if (!Log::assertThat(row >= 0 && row < rowCount()))
            continue;
        if (row != before + 1)
            ranges.emplace_back();
        ranges.back().push_back(jobAt(row));
        before = row;
    }
    // The row that the moved ones come before: the first from the target on that stays where it is.
    while (fromRows.contains(toRow))
        ++toRow;
    const Job successor = toRow < rowCount() ? jobAt(toRow) : nullptr;
    for (const auto& range : ranges)
        moveRange(range, successor.get());
    Q_EMIT contentArraySizeChanged();
}

void JobRows::moveInContent(const std::vector<Job>& jobs, const Job& successor) {
    Runloop::assertMain();
    for (const auto& job : jobs) {
        if (rowOf(*job))
            moveRange({job}, successor.get());
        else if (m_content.moveBefore(*job, successor.get()))
            takeRanks(0, rowCount());
    }
    Q_EMIT contentArraySizeChanged();
}

void JobRows::takeRanks(int first, int end) {
    std::for_each(m_rows.begin() + first, m_rows.begin() + end,
                  [this](Row& row) { row.rank = m_content.rankOf(*row.job); });
}

/// The range is shown; the successor need not be.
void JobRows::moveRange(const std::vector<Job>& range, const RemoteFile* successor) {
    const int first = rowOf(*range.front()).value_or(0);
    const int last = first + static_cast<int>(range.size()) - 1;
    const int destination = successor ? static_cast<int>(placeOf(*successor)) : rowCount();
    // The content may move all the same, past hidden jobs.
    const bool isElsewhere = destination < first || destination > last + 1;
    if (isElsewhere)
        Q_EMIT rowsAboutToBeMoved(first, last, destination);
    bool haveOthersMoved = false;
    for (const auto& job : range)
        haveOthersMoved |= m_content.moveBefore(*job, successor);
    takeRanks(haveOthersMoved ? 0 : first, haveOthersMoved ? rowCount() : last + 1);
    if (!isElsewhere)
        return;
    const auto rows = m_rows.begin();
    if (destination < first)
        std::rotate(rows + destination, rows + first, rows + last + 1);
    else
        std::rotate(rows + first, rows + last + 1, rows + destination);
    Q_EMIT rowsMoved(first, last, destination);
}

} // namespace tarvo
