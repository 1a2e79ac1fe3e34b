// What is told of a download: the terminal's line, plain lines, JSON lines.
#include "cli/ProgressView.h"
#include "cli/TerminalLines.h"
#include "support/Text.h"

#include <clocale>
#include <cwchar>
#include <sstream>

#include <QJsonDocument>
#include <QJsonObject>
#include <QString>
#include <gtest/gtest.h>

namespace tarvo::test {

namespace {

using std::chrono::milliseconds;

DownloadSnapshot halfOf(std::int64_t size, const std::string& name = "sample.bin") {
    return {"http://host/" + name, name, size / 2, size, 1'500'000, 10, Seconds(61)};
}

int columnsOf(const std::string& line) {
    int columns = 0;
    for (const char32_t character : QString::fromStdString(line).toStdU32String()) {
        const int width = ::wcwidth(static_cast<wchar_t>(character));
        EXPECT_GE(width, 0) << "an unprintable character in " << line;
        columns += width;
    }
    return columns;
}

/// What a view writes: of standard output and of standard error.
struct Written {
    std::ostringstream output;
    std::ostringstream problems;
};

void tellAll(ProgressView& view, const DownloadSnapshot& download) {
    const TimePoint start{};
    view.connecting(download);
    view.started(download);
    for (int tenths = 1; tenths <= 25; ++tenths)
        view.progress({download}, {1, 0, 0}, start + milliseconds(100) * tenths);
    view.notice("by the way");
    view.finished(download, {"/x/" + download.name, download.size, Seconds(2), true, download.size});
    view.failed(download, {"domain", 7, "It broke.", "Mend it."});
}

} // namespace

TEST(TerminalLine, FitsEveryTerminalWhateverTheName) {
    ASSERT_TRUE(std::setlocale(LC_CTYPE, "C.UTF-8"));
    const std::string names[] = {
        "a",
        std::string(300, 'x') + ".iso",
        "日本語のとても長いファイル名前です日本語のとても長い.tar.gz",
        "e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301",
        "👩‍🚀🚀🚀🚀🚀🚀🚀🚀🚀🚀🚀🚀🚀🚀🚀🚀🚀🚀",
        "broken \xff\xfe bytes",
        "steers \x1b[2J\u009b2J the terminal",
        ""};
    for (const auto& name : names) {
        for (const int columns : {1, 5, 12, 20, 40, 60, 80, 200}) {
            for (const std::int64_t size : {std::int64_t{-1}, std::int64_t{0}, std::int64_t{1} << 62}) {
                auto download = halfOf(size, name);
                const std::string line = terminalLine(download, columns, false);
                EXPECT_EQ(columnsOf(line), std::max(columns - 3, 1)) << columns << ": " << line;
                download.verified = size / 4;
                const std::string checking = terminalLine(download, columns, false);
                EXPECT_EQ(columnsOf(checking), std::max(columns - 3, 1)) << columns << ": " << checking;
            }
        }
    }
}

TEST(TerminalLine, ShowsTheFactsAndDropsTheLeastImportantFirst) {
    ASSERT_TRUE(std::setlocale(LC_CTYPE, "C.UTF-8"));
    const auto download = halfOf(200'000'000);
    EXPECT_EQ(terminalLine(download, 80, false),
              "sample.bin       [━━━━━━       ]  95M/191M  50%    1.4 MiB/s 10 conn     1:01");
    EXPECT_EQ(terminalLine(download, 40, false), "sample.bin  50%    1.4 MiB/s     1:01");
    EXPECT_EQ(terminalLine(download, 20, false), "sample.bin    50%");
    auto unknown = halfOf(-1);
    unknown.bytes = 1536;
    EXPECT_EQ(terminalLine(unknown, 60, false), "sample.bin          1.5 KiB    1.4 MiB/s 10 conn    --:--");
}

TEST(TerminalLines, NoNumberIsCutWhereTheTerminalIsNarrow) {
    ASSERT_TRUE(std::setlocale(LC_CTYPE, "C.UTF-8"));
    const std::vector<Waiting> waiting{{"quite-a-long-name.iso", Seconds(9), "HTTP Status 503 (busy)"}};
    const auto lines = [&](int columns, std::size_t failed) {
        const QueueCounts counts{12, 3, failed, 50'000'000};
        auto drawn = terminalLines({halfOf(200'000'000)}, waiting, counts, {columns, 24}, false);
        for (auto& line : drawn)
            line.erase(line.find_last_not_of(' ') + 1);
        return drawn;
    };
    EXPECT_EQ(lines(80, 1).back(), "3 of 12 finished, 1 failed, 1 running, 7 waiting; 143.1 MiB, 1.4 MiB/s");
    EXPECT_EQ(lines(40, 1).back(), "3/12, 1 failed; 143.1 MiB, 1.4 MiB/s");
    EXPECT_EQ(lines(30, 0).back(), "3/12; 143.1 MiB, 1.4 MiB/s");
    EXPECT_EQ(lines(12, 1).back(), "3/12");
    EXPECT_EQ(lines(40, 0)[1], "quite-a….iso: again in 0:09. HTTP St…");
}

TEST(JsonView, WritesOneObjectALineAndNothingElse) {
    Written written;
    const std::string name = "a\n\"b\"\xff 日本.bin";
    tellAll(*makeProgressView(true, true, written.output, written.problems, true, true), halfOf(1000, name));
    std::istringstream lines(written.output.str());
    std::vector<QJsonObject> events;
    for (std::string line; std::getline(lines, line);) {
        events.push_back(QJsonDocument::fromJson(QByteArray::fromStdString(line)).object());
        EXPECT_EQ(events.back()["name"].toString(), QString::fromStdString(name)) << line;
    }
    ASSERT_EQ(events.size(), 6u); // progress at most once a second
    const QString kinds[] = {"started", "progress", "progress", "progress", "finished", "failed"};
    for (std::size_t i = 0; i < events.size(); ++i)
        EXPECT_EQ(events[i]["event"].toString(), kinds[i]);
    EXPECT_EQ(events[4]["checksum"].toString(), "match");
    EXPECT_EQ(events[5]["error"].toString(), "It broke. Mend it.");
    EXPECT_EQ(events[5]["code"].toInteger(), 7);
    EXPECT_EQ(written.problems.str(), "tarvo-get: by the way\n");
}

TEST(PlainViews, TellResultsToOneStreamAndProblemsToTheOther) {
    Written plain;
    tellAll(*makeProgressView(false, false, plain.output, plain.problems, false, false), halfOf(-1));
    EXPECT_EQ(plain.output.str(), "started sample.bin (unknown size, 10 connections)\n"
                                  "finished /x/sample.bin (-1 B in 2.0 s, 0 B/s, checksum matches)\n");
    EXPECT_EQ(plain.problems.str(),
              "tarvo-get: by the way\ntarvo-get: http://host/sample.bin: It broke. Mend it.\n");
    Written quiet;
    tellAll(*makeProgressView(false, true, quiet.output, quiet.problems, true, true), halfOf(1000));
    EXPECT_EQ(quiet.output.str(), "");
    EXPECT_EQ(quiet.problems.str(), plain.problems.str());
}

TEST(TerminalLines, AreNoMoreThanTheTerminalHasAndTellOfTheRest) {
    ASSERT_TRUE(std::setlocale(LC_CTYPE, "C.UTF-8"));
    const std::vector<DownloadSnapshot> running(10, halfOf(1000));
    const auto all = terminalLines(running, {}, {1000, 20, 3, 5 << 20}, {80, 24}, false);
    ASSERT_EQ(all.size(), 11u);
    EXPECT_TRUE(all.back().starts_with("20 of 1000 finished, 3 failed, 10 running, 967 waiting"))
        << all.back();
    const auto few = terminalLines(running, {{"z", Seconds(7), "Broken."}}, {1000, 20, 0}, {40, 5}, false);
    ASSERT_EQ(few.size(), 4u);
    for (const auto& line : few)
        EXPECT_EQ(columnsOf(line), 37);
    EXPECT_EQ(terminalLines({halfOf(1000)}, {}, {1, 0, 0}, {80, 24}, false).size(), 1u);
    const auto waits =
        terminalLines({}, {{"a\x1b.bin", Seconds(7), "It broke."}}, {2, 0, 0}, {60, 24}, false);
    EXPECT_TRUE(waits.front().starts_with("a?.bin: again in 0:07. It broke.")) << waits.front();
}

} // namespace tarvo::test
