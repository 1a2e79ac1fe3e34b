// Lines look as stated, land in the right file of bounded number, and never disturb the program.
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "LogLine.h"
#include "app/TRLoggingManager.h"
#include "support/FailingDisk.h"
#include "support/TemporaryFolder.h"

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

    std::shared_ptr<RollingFileSink> makeSink(RollingFileSink::Limits limits) {
        return std::make_shared<RollingFileSink>(m_disk, m_logs, std::make_shared<TRDebugLogFormatter>(),
                                                 limits);
    }

    std::string allText() {
        std::string text;
        for (const auto& path : RollingFileSink::logFilesIn(m_logs))
            text.insert(0, test::contentOf(path));
        return text;
    }

    unsigned modeOf(const std::string& path) {
        struct stat status {};

        return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
    }

    test::TemporaryFolder m_folder;
    const std::string m_logs = m_folder.path("state/tarvo/logs");
    test::FailingDisk m_disk;
    UserDefaults m_defaults{m_folder.path("tarvo.conf")};
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
    EXPECT_EQ(TRDebugLogFormatter::wordOf(static_cast<LogLevel>(32)), "VRBS");
}

TEST_F(Logging, AFormatterServesOneLoggerOnly) {
    TRLoggingManager manager(m_defaults, m_disk, m_logs);
    manager.setupLogging();
    const auto formatter = std::make_shared<TRDebugLogFormatter>();
    std::make_shared<RollingFileSink>(m_disk, m_logs, formatter, RollingFileSink::Limits());
    const RollingFileSink again(m_disk, m_logs, formatter, {});
    EXPECT_EQ(allText().find("This logger isn't thread-safe"), std::string::npos) << "the first one had gone";
    const RollingFileSink second(m_disk, m_logs, formatter, {});
    EXPECT_NE(allText().find("This logger isn't thread-safe"), std::string::npos);
}

TEST_F(Logging, EachDayHasItsFileAndOnlyTheLastFilesStay) {
    const auto sink = makeSink({.fileLength = 1 << 20, .files = 3});
    for (int day = 0; day < 5; ++day)
        sink->log(
            logLine("day " + std::to_string(day), spdlog::level::err, kMoment + std::chrono::days(day)));
    const std::vector<std::string> expected{m_logs + "/tarvo-2026-03-08-001.log",
                                            m_logs + "/tarvo-2026-03-07-001.log",
                                            m_logs + "/tarvo-2026-03-06-001.log"};
    EXPECT_EQ(RollingFileSink::logFilesIn(m_logs), expected);
    EXPECT_EQ(test::contentOf(expected[1]), "ERRO 05:06:07:089 | day 3 in QueueWindowController:213\n");
    EXPECT_EQ(modeOf(m_logs), 0700u);
    EXPECT_EQ(modeOf(expected[0]), 0600u);
}

TEST_F(Logging, AFullFileIsFollowedByAnotherAndAnOpenOneIsContinued) {
    const RollingFileSink::Limits limits{.fileLength = 100, .files = 8};
    for (int run = 0; run < 5; ++run)
        makeSink(limits)->log(logLine("a line of about sixty bytes", spdlog::level::err));
    const auto files = RollingFileSink::logFilesIn(m_logs);
    ASSERT_EQ(files.size(), 3u);
    EXPECT_EQ(nameOf(files[0]), "tarvo-2026-03-04-003.log");
    const std::string allOfIt = allText();
    EXPECT_EQ(std::count(allOfIt.begin(), allOfIt.end(), '\n'), 5);
}

TEST_F(Logging, AFolderThatCantBeMadeOrWrittenCostsTheLinesOnly) {
    m_disk.failOn("makeFolders", 1, EACCES, false);
    const auto sink = makeSink({});
    sink->log(logLine("lost", spdlog::level::err));
    EXPECT_TRUE(RollingFileSink::logFilesIn(m_logs).empty());
    m_folder.write("file", "");
    RollingFileSink underAFile(m_disk, m_folder.path("file/logs"), std::make_shared<TRDebugLogFormatter>(),
                               {});
    underAFile.log(logLine("lost", spdlog::level::err));
    fs::create_directories(m_logs);
    fs::create_symlink(m_folder.path("file"), m_logs + "/tarvo-2026-03-04-001.log");
    RollingFileSink onALink(m_disk, m_logs, std::make_shared<TRDebugLogFormatter>(), {});
    onALink.log(logLine("lost", spdlog::level::err));
    EXPECT_EQ(test::contentOf(m_folder.path("file")), "") << "a link that somebody laid is not followed";
}

TEST_F(Logging, ALineThatCantBeWrittenIsNotTheEndOfTheFile) {
    rlimit usual{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &usual), 0);
    ::signal(SIGXFSZ, SIG_IGN);
    const auto sink = makeSink({});
    const rlimit nothing{0, usual.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &nothing), 0); // every write fails with EFBIG
    sink->log(logLine("lost", spdlog::level::err));
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &usual), 0);
    sink->log(logLine("kept", spdlog::level::err));
    EXPECT_EQ(allText(), "ERRO 05:06:07:089 | kept in QueueWindowController:213\n");
}

TEST_F(Logging, DebugModeDecidesWhatReachesTheFile) {
    {
        TRLoggingManager quiet(m_defaults, m_disk, m_logs,
                               [](const auto&) { FAIL() << "no window was asked for"; });
        quiet.setupLogging();
        Log::info("an info");
        Log::warning("a warning");
        Log::error("an error");
    }
    Log::error("after the end");
    EXPECT_EQ(allText().find("info"), std::string::npos);
    EXPECT_NE(allText().find("WARN "), std::string::npos);
    EXPECT_NE(allText().find(" | an error in LoggingTest:"), std::string::npos);
    EXPECT_EQ(allText().find("after the end"), std::string::npos);
    m_defaults.set("DebugModeEnabled", true);
    std::vector<std::string> shown;
    TRLoggingManager debugging(m_defaults, m_disk, m_logs, [&](const auto& files) { shown = files; });
    debugging.setupLogging();
    debugging.setupLogging();
    Log::verbose("a detail");
    EXPECT_EQ(shown.size(), 1u);
    EXPECT_NE(allText().find("Assertion Failed"), std::string::npos) << "it was set up twice";
    EXPECT_EQ(allText().find("a detail"), allText().rfind("a detail"));
    EXPECT_NE(allText().find("VRBS "), std::string::npos);
    EXPECT_NE(allText().find("Logging has initialized in TRLoggingManager:"), std::string::npos);
}

TEST_F(Logging, ACrashReportGetsTheEndLessItsLastCharacter) {
    TRLoggingManager manager(m_defaults, m_disk, m_logs);
    EXPECT_EQ(manager.applicationLogForCrashManager(), std::nullopt);
    manager.setupLogging();
    EXPECT_EQ(manager.applicationLogForCrashManager(), std::nullopt);
    fs::create_directories(m_logs);
    m_folder.write("state/tarvo/logs/tarvo-2026-03-04-001.log", std::string(2000, 'a') + "ü");
    m_folder.write("state/tarvo/logs/tarvo-2026-03-05-001.log", "");
    std::string later = "\xff";
    for (int i = 0; i < 3998; ++i)
        later += "ß";
    m_folder.write("state/tarvo/logs/tarvo-2026-03-06-001.log", later + "z"); // 6001 characters in all
    const std::string report = manager.applicationLogForCrashManager().value_or("");
    std::string expected = std::string(1000, 'a') + "ü" + "\xef\xbf\xbd" + later.substr(1);
    EXPECT_EQ(report, expected);
    EXPECT_EQ(manager.getLogFilesContentWithMaxSize(2), "ßß");
    EXPECT_EQ(manager.getLogFilesContentWithMaxSize(6001).substr(0, 2), "aa");
    EXPECT_EQ(manager.getLogFilesContentWithMaxSize(6001).back(), 'z') << "nothing is cut from what fits";
}

TEST_F(Logging, TheFolderFollowsTheBaseDirectoryRules) {
    ::setenv("XDG_STATE_HOME", "/state", 1);
    EXPECT_EQ(TRLoggingManager::standardLogFolder(), "/state/tarvo/logs");
    ::setenv("XDG_STATE_HOME", "relative", 1);
    ::setenv("HOME", "/home/bob", 1);
    EXPECT_EQ(TRLoggingManager::standardLogFolder(), "/home/bob/.local/state/tarvo/logs");
    ::unsetenv("XDG_STATE_HOME");
}

} // namespace tarvo
