// Which rows the commands that reorder the list move where.
#include "rows/RowMoves.h"

#include <gtest/gtest.h>

namespace tarvo {
namespace {

TEST(RowMoves, EachRangeGoesOneRowAndNonePassesAnother) {
    using Moves = std::vector<RowMove>;
    EXPECT_EQ(movesUp({1, 2, 5}, 8), (Moves{{{1, 2}, 0}, {{5}, 4}}));
    EXPECT_EQ(movesUp({0, 1, 3}, 8), (Moves{{{3}, 2}})) << "what is at the top stays";
    EXPECT_EQ(movesDown({1, 2, 5}, 8), (Moves{{{5}, 7}, {{1, 2}, 4}}));
    EXPECT_EQ(movesDown({4, 7}, 8), (Moves{{{4}, 6}}));
    EXPECT_EQ(movesToTop({2, 4}, 8), (Moves{{{2, 4}, 0}}));
    EXPECT_EQ(movesToBottom({2, 4}, 8), (Moves{{{2, 4}, 8}}));
    EXPECT_TRUE(movesUp({}, 8).empty() && movesToTop({}, 8).empty() && movesToBottom({}, 8).empty());
}

} // namespace
} // namespace tarvo
