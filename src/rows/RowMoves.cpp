#include "rows/RowMoves.h"

#include <algorithm>

namespace tarvo {

namespace {

std::vector<std::set<int>> rangesOf(const std::set<int>& rows) {
    std::vector<std::set<int>> ranges;
    for (const int row : rows) {
        if (ranges.empty() || *ranges.back().rbegin() != row - 1)
            ranges.emplace_back();
        ranges.back().insert(row);
    }
    return ranges;
}

} // namespace

std::vector<RowMove> movesToTop(const std::set<int>& selected, int) {
    return selected.empty() ? std::vector<RowMove>() : std::vector<RowMove>{{selected, 0}};
}

std::vector<RowMove> movesToBottom(const std::set<int>& selected, int rowCount) {
    return selected.empty() ? std::vector<RowMove>() : std::vector<RowMove>{{selected, rowCount}};
}

std::vector<RowMove> movesUp(const std::set<int>& selected, int) {
    std::vector<RowMove> moves;
    for (const auto& range : rangesOf(selected)) {
        if (*range.begin() > 0)
            moves.push_back({range, *range.begin() - 1});
    }
    return moves;
}

std::vector<RowMove> movesDown(const std::set<int>& selected, int rowCount) {
    std::vector<RowMove> moves;
    for (const auto& range : rangesOf(selected)) {
        if (*range.rbegin() + 1 < rowCount)
            moves.push_back({range, *range.rbegin() + 2});
    }
    std::reverse(moves.begin(), moves.end());
    return moves;
}

} // namespace tarvo
