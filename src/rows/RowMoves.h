// Where the commands that reorder the list put the selected rows.
#pragma once

#include <set>
#include <vector>

namespace tarvo {

/// One call of JobRows::moveObjectsInArrangedObjects().
struct RowMove {
    std::set<int> rows;
    int before; ///< the row that they come in front of, or the number of rows

    bool operator==(const RowMove&) const = default;
};

// To be made in the order of the answer. `selected` are among `rowCount` rows. One row up or down, what
// stands together stays together, and none passes another selected one; at the top or bottom all stand
// together.
std::vector<RowMove> movesToTop(const std::set<int>& selected, int rowCount);
std::vector<RowMove> movesUp(const std::set<int>& selected, int rowCount);
std::vector<RowMove> movesDown(const std::set<int>& selected, int rowCount);
std::vector<RowMove> movesToBottom(const std::set<int>& selected, int rowCount);

} // namespace tarvo
