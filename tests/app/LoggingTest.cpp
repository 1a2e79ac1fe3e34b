// Lines look as stated, land in the right file of bounded number, and never disturb the program.
#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "LogLine.h"
#include "app/TRLoggingManager.h"
#include "base/PosixDisk.h"
#include "base/SettingKeys.h"
#include "support/TemporaryFolder.h"
#include "support/Text.h"

namespace tarvo {

namespace fs = std::filesystem;

namespace {

using test::kMoment;
using test::logLine;

class Logging : public ::testing::Test {
protected:
    Logging() {
        ::setenv("TZ", "UTC", 1);
        ::tzset();
    }

    std::shared_ptr<RollingFileSink> makeSink(RollingFileSink::Limits limits, const std::string& folder) {
        return std::make_shared<RollingFileSink>(m_disk, folder, std::make_shared<TRDebugLogFormatter>(),
                                                 limits);
    }

    std::string allText() {
        std::string text;
        for (const auto& path : RollingFileSink::logFilesIn(m_logs))
            text.insert(0, test::contentOf(path));
        return text;
    }

    test::TemporaryFolder m_folder;
    const std::string m_logs = m_folder.path("state/tarvo/logs");
    PosixDisk m_disk;
    UserDefaults m_defaults{m_folder.path("tarvo.conf"), m_disk};
};

} // namespace

TEST_F(Logging, ALineNamesLevelTimeMessageAndPlace) {
    const TRDebugLogFormatter formatter;
    EXPECT_EQ(formatter.formatLogMessage(logLine("Saving all progress...", spdlog::level::info)),
              "INFO 05:06:07:089 | Saving all progress... in QueueWindowController:213");
    auto placeless = logLine("a\nINFO 1 | forged\x1b", spdlog::level::off);
    placeless.source = {};
    EXPECT_EQ(formatter.formatLogMessage(placeless),
              "VRBS 05:06:07:089 | a\\nINFO 1 | forged\\x1b in <Unknown File>:0");
}

TEST_F(Logging, EachDayHasItsFileAndOnlyTheLastFilesStay) {
    const auto sink = makeSink({.fileLength = 1 << 20, .files = 3}, m_logs);
    for (int day = 0; day < 5; ++day)
        sink->log(
            logLine("day " + std::to_string(day), spdlog::level::err, kMoment + std::chrono::days(day)));
    const auto files = RollingFileSink::logFilesIn(m_logs);
    ASSERT_EQ(files.size(), 3u);
    EXPECT_EQ(files[1], m_logs + "/tarvo-2026-03-07-001.log");
    EXPECT_EQ(test::contentOf(files[1]), "ERRO 05:06:07:089 | day 3 in QueueWindowController:213\n");
    EXPECT_EQ(fs::status(m_logs).permissions(), fs::perms::owner_all);
    EXPECT_EQ(fs::status(files[0]).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(Logging, AFullFileIsFollowedByAnotherAndAnOpenOneIsContinued) {
    const RollingFileSink::Limits limits{.fileLength = 100, .files = 8};
    for (int run = 0; run < 5; ++run)
        makeSink(limits, m_logs)->log(logLine("a line of about sixty bytes", spdlog::level::err));
    const auto files = RollingFileSink::logFilesIn(m_logs);
    ASSERT_EQ(files.size(), 3u);
    EXPECT_EQ(nameOf(files[0]), "tarvo-2026-03-04-003.log");
    EXPECT_EQ(test::countOf(allText(), "\n"), 5);
}

TEST_F(Logging, AFolderThatCantBeMadeOrWrittenCostsTheLinesOnly) {
    const std::string file = m_folder.write("file", "");
    fs::create_directories(m_logs);
    fs::create_symlink(file, m_logs + "/tarvo-2026-03-04-001.log");
    for (const std::string& folder : {file + "/logs", m_logs})
        makeSink({}, folder)->log(logLine("lost", spdlog::level::err));
    EXPECT_EQ(test::contentOf(file), "") << "a link that another user laid is not followed";
}

TEST_F(Logging, DebugModeDecidesWhatReachesTheFile) {
    int shown = 0;
    for (const bool debugging : {false, true}) {
        m_defaults.set(SettingKey::kDebugModeEnabled, debugging);
        TRLoggingManager manager(m_defaults, m_disk, m_logs, [&](const auto&) { ++shown; });
        manager.setupLogging();
        Log::verbose("a detail");
        EXPECT_EQ(test::has(allText(), "VRBS "), debugging);
        EXPECT_EQ(shown, debugging ? 1 : 0);
    }
}

TEST_F(Logging, ACopyWaitsForNoReader) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    const FileHandle reader(ends[0]);
    FileHandle writer(ends[1]);
    StandardErrorSink sink(writer.descriptor());
    const std::string text(3000, 'x');
    for (int i = 0; i < 100; ++i) // more than the pipe holds
        sink.log(logLine(text, spdlog::level::warn));
    writer.close();
    std::string copied(1 << 20, '\0'); // as much as a pipe holds, at most
    copied.resize(std::max<ssize_t>(::read(reader.descriptor(), copied.data(), copied.size()), 0));
    EXPECT_GT(copied.size(), 10'000u);
    EXPECT_TRUE(copied.starts_with("WARN ") && copied.ends_with("\n"));
}

TEST_F(Logging, ACrashReportGetsTheEndLessItsLastCharacter) {
    TRLoggingManager manager(m_defaults, m_disk, m_logs);
    EXPECT_EQ(manager.applicationLogForCrashManager(), std::nullopt);
    manager.setupLogging();
    fs::create_directories(m_logs);
    m_folder.write("state/tarvo/logs/tarvo-2026-03-04-001.log", std::string(2000, 'a') + "ü");
    std::string later = "\xff";
    for (int i = 0; i < 3998; ++i)
        later += "ß";
    m_folder.write("state/tarvo/logs/tarvo-2026-03-06-001.log", later + "z"); // 6001 characters in all
    EXPECT_EQ(manager.applicationLogForCrashManager(),
              std::string(1000, 'a') + "ü" + "\xef\xbf\xbd" + later.substr(1));
    EXPECT_EQ(manager.getLogFilesContentWithMaxSize(6001).back(), 'z') << "nothing is cut from what fits";
}

} // namespace tarvo
