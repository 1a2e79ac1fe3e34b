// The jobs in their order, the rows that a filter shows of them, and a signal for each change of a row.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <set>
#include <unordered_map>
#include <vector>

#include <QObject>

#include "queue/JobFilter.h"
#include "queue/JobList.h"
#include "queue/JobSearch.h"

namespace tarvo {

/// The content is every job in its order; the rows are those of its jobs that filter and search show, in the
/// same order. Main thread. The signals of rows come as a Qt item model passes them on: between "about to"
/// and "done" the rows are still the old ones in the slots of the first, and the new ones in the slots of the
/// second. These slots change nothing in the list. Rows are counted from 0, ranges hold both their ends.
class JobRows : public QObject {
    Q_OBJECT

public:
    using Job = std::shared_ptr<RemoteFile>;

    const JobList& content() const { return m_content; }

    std::vector<Job> contentAsArray() const { return m_content.jobs(); }

    int rowCount() const { return static_cast<int>(m_rows.size()); }

    /// `row` is one of the rows.
    Job jobAt(int row) const { return m_rows.at(static_cast<std::size_t>(row)).job->shared_from_this(); }

    /// None when the job is not shown. Takes constant time; after a change in front of the row, once the
    /// logarithm of the number of rows. No change makes the rows be counted anew.
    std::optional<int> rowOf(const RemoteFile& job) const;

    /// A copy of the rows.
    std::vector<Job> arrangedObjectsAsArray() const;

    void setFilter(const JobFilter& filter);

    /// Of what the filter shows, shows what has these words (see JobSearch).
    void setSearch(const std::string& text);

    /// How many jobs `filter` would show if there were no search. Takes no walk.
    std::size_t countShownBy(const JobFilter& filter) const;

    /// Moves rows in front of the row `toRow` (or to the end, when that is rowCount()), all as they stand
    /// before any of them is moved.
    void moveObjectsInArrangedObjects(const std::set<int>& fromRows, int toRow);

    /// Moves jobs, shown or not, in front of `successor`, which is none of them, or to the end when that is
    /// null. All are in the content.
    void moveInContent(const std::vector<Job>& jobs, const Job& successor);

Q_SIGNALS:
    void rowsAboutToBeInserted(int first, int last);
    void rowsInserted(int first, int last);
    void rowsAboutToBeRemoved(int first, int last);
    void rowsRemoved(int first, int last);
    /// The range goes in front of the row `destination` of the old rows
    /// (QAbstractItemModel::beginMoveRows()).
    void rowsAboutToBeMoved(int first, int last, int destination);
    void rowsMoved(int first, int last, int destination);
    /// Another job stands in the row.
    void rowReplaced(int row);
    /// Filter or search show others.
    void rowsAboutToBeReset();
    void rowsReset();
    /// After each insertion into the content, removal from it and move within it; once for a batch.
    void contentArraySizeChanged();

protected:
    /// At the end. None of them is in the content.
    void append(const std::vector<Job>& jobs);

    /// Those that are in the content.
    void take(const std::vector<Job>& jobs);

    /// `fresh` comes to the place of `old`, which is in the content.
    void replace(const RemoteFile& old, const Job& fresh);

    /// Takes over the job's present state, and, if `mayMoveRows`, shows or hides the job if the filter wants
    /// that.
    void takeOverState(RemoteFile& job, bool mayMoveRows);

    /// The same for its name.
    void takeOverName(RemoteFile& job, bool mayMoveRows);

private:
    struct Row {
        JobList::Rank rank;
        RemoteFile* job;
    };

    bool shows(const RemoteFile& job) const;
    void showAnew();
    void showOrHide(RemoteFile& job);
    bool isAt(std::size_t row, const RemoteFile& job) const;
    std::size_t placeOf(const RemoteFile& job) const;
    void insertRows(std::size_t first, const std::vector<Row>& rows);
    void removeRows(int first, int last);
    void takeRanks(int first, int end);
    void moveRange(const std::vector<Job>& range, const RemoteFile* successor);

    JobList m_content;
    std::vector<rf_state_t> m_filteredStates; // empty: no filter
    JobSearch m_search;
    std::vector<Row> m_rows; // of the content, and in its order
    mutable std::unordered_map<const RemoteFile*, std::size_t>
        m_lastRowOf; // where it was when it was asked for
};

} // namespace tarvo
