// Which rows a terminal's user names, and how they are printed.
#include "remote/RowChoice.h"
#include "remote/RowTable.h"

#include <gtest/gtest.h>

namespace tarvo::test {

namespace {

QueueRow row(quint64 number, const char* state, const char* name) {
    QueueRow made;
    made.number = number;
    made.state = state;
    made.name = name;
    made.url = QString("http://x/%1").arg(name);
    return made;
}

QueueRows someRows() {
    QueueRows rows{row(1, "running", "a.iso"), row(4, "failed", "all"), row(12, "waiting", "3")};
    rows[0].bytes = 512;
    rows[0].size = 1024;
    rows[0].speed = 2048;
    rows[0].secondsLeft = 61;
    rows[1].more["error"] = "No\x1b]0;x";
    return rows;
}

std::string numbers(const std::vector<std::string>& texts) {
    const auto rows = chosenRows(someRows(), texts);
    if (!rows)
        return "error: " + rows.error().description;
    std::string all;
    for (const auto& row : *rows)
        all += std::to_string(row.number) + " ";
    return all;
}

} // namespace

TEST(RowChoice, TakesNumbersRangesStatesAndNames) {
    EXPECT_EQ(numbers({"12", "1"}), "1 12 ") << "in the order of the queue, and each once";
    EXPECT_EQ(numbers({"2-12", "4"}), "4 12 ");
    EXPECT_EQ(numbers({"failed", "paused"}), "4 ");
    EXPECT_EQ(numbers({"a.iso", "http://x/all"}), "1 4 ");
    EXPECT_EQ(numbers({"3"}), "12 ") << "a file's name, where no row has the number";
    EXPECT_EQ(numbers({"all"}), "1 4 12 ");
    EXPECT_EQ(numbers({"paused"}), "") << "of a state there may be none";
    for (const auto* none : {"2", "99999999999999999999999", "12-4", "-1", "", "a.is"})
        EXPECT_TRUE(numbers({"1", none}).starts_with("error")) << none;
}

TEST(RowTable, FitsTheTerminalAndLetsNothingSteerIt) {
    const auto lines = rowTable(someRows(), 60);
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[1], " 1  running  50 %  1.0 KiB  2.0 KiB/s  1:01  a.iso");
    EXPECT_EQ(lines[3], "    No?]0;x");
    for (const auto& line : lines)
        EXPECT_LE(line.size(), 60U);
    EXPECT_TRUE(rowTable({}, 60).empty());
    EXPECT_EQ(rowTable(someRows(), 0)[1], lines[1]) << "where no terminal reads it, names are whole";
    EXPECT_EQ(jsonOf(someRows()[2])["size"], QJsonValue());
}

} // namespace tarvo::test
