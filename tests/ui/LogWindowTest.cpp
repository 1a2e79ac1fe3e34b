// What the logging window shows, and that it holds no more than it says.
#include "ui/LogWindow.h"

#include "base/SettingKeys.h"
#include "rows/SupportMail.h"
#include "support/JobHarness.h"

#include <thread>

#include <QUrlQuery>
#include <gtest/gtest.h>

namespace tarvo::test {

namespace {

std::vector<LogTextLine> linesFrom(int first, int count) {
    std::vector<LogTextLine> lines;
    for (int i = first; i < first + count; ++i)
        lines.push_back({i % 10 == 0 ? LogLevel::error : LogLevel::info, std::to_string(i)});
    return lines;
}

std::string rowOf(const QAbstractItemModel& model, int row) {
    return model.index(row, 0).data().toString().toStdString();
}

} // namespace

TEST(LogLines, KeepTheLastOnesAndFilterByLevel) {
    LogLines lines;
    lines.append(linesFrom(0, 9'000));
    lines.setLevel(LogLevel::warning);
    EXPECT_EQ(lines.rowCount(), 900);
    lines.append(linesFrom(9'000, 5'000));
    EXPECT_EQ(lines.rowCount(), 1'000);
    EXPECT_EQ(rowOf(lines, 0), "4000");
    EXPECT_EQ(rowOf(lines, 999), "13990");
    lines.setLevel(LogLevel::verbose);
    EXPECT_EQ(lines.rowCount(), 10'000);
    lines.append(linesFrom(14'000, 25'000)); // more at once than there is room for
    EXPECT_EQ(lines.rowCount(), 10'000);
    EXPECT_EQ(rowOf(lines, 0), "29000");
}

TEST(LogWindow, ShowsTheFileThenWhatIsLoggedOnAnyThreadAndNothingOnceItIsHidden) {
    JobHarness harness;
    harness.folder.write("a.log", "INFO 1 | before in a:1\nERRO 2 | failed in a:1\n");
    LogWindow window(harness.defaults, harness.folder.path(),
                     [&] { return std::vector{harness.folder.path("a.log")}; });
    const auto& rows = *window.findChild<LogLines*>();
    window.show();
    std::thread([] { Log::info("from a worker"); }).join();
    ASSERT_TRUE(turnUntil([&] { return rows.rowCount() == 3; }));
    EXPECT_EQ(rowOf(rows, 1), "ERRO 2 | failed in a:1");
    EXPECT_NE(rowOf(rows, 2).find("| from a worker in LogWindowTest:"), std::string::npos);
    Log::verbose("one more");
    EXPECT_TRUE(turnUntil([&] { return rows.rowCount() == 4; }));
    window.hide();
    EXPECT_EQ(rows.rowCount(), 0);
    Log::error("nobody gathers this");
    window.show();
    EXPECT_TRUE(turnUntil([&] { return rows.rowCount() == 2; }));
}

TEST(LogWindow, TheLinesOfTheFileThatHaveComeLiveAsWellStandThereOnce) {
    auto before = linesFrom(0, 5);
    removeOverlap(before, linesFrom(3, 4));
    EXPECT_EQ(before.size(), 3U);
    removeOverlap(before, {});
    EXPECT_EQ(before.size(), 3U);
}

TEST(SupportMail, HasTheSubjectTheTextAndTheFiles) {
    const QUrlQuery mail(mailWithLogs({"/logs/a & b.log"}).query(QUrl::FullyEncoded));
    const auto item = [&](const char* name) {
        return mail.queryItemValue(QLatin1String(name), QUrl::FullyDecoded).toStdString();
    };
    EXPECT_EQ(item("subject"), "Debug Logs for Developer");
    EXPECT_EQ(item("attach"), "/logs/a & b.log");
    EXPECT_TRUE(item("body").ends_with("\n/logs/a & b.log"));
}

} // namespace tarvo::test
