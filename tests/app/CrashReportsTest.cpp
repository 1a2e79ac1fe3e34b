// The reports' folder stays small, and each report is told of once.
#include "app/CrashReports.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "support/FailingDisk.h"
#include "support/TemporaryFolder.h"
#include "support/Text.h"

namespace tarvo {

namespace {

struct Notices : UserNotices {
    void deliver(const UserNotice& notice) override { texts.push_back(notice.informativeText); }

    std::vector<std::string> texts;
};

} // namespace

TEST(CrashReports, TheNewestStayAndAreToldOfInOneNotice) {
    const test::TemporaryFolder folder;
    const std::string reports = folder.path("crashes");
    std::filesystem::create_directories(reports);
    for (int day = 10; day < 40; ++day)
        folder.write("crashes/1999-12-" + std::to_string(day) + ".txt", "");
    test::FailingDisk disk;
    const UserDefaults defaults(folder.path("tarvo.conf"), disk);
    const TRLoggingManager logging(defaults, disk, folder.path("logs"));
    CrashReports crashes(disk, reports);
    ASSERT_TRUE(crashes.write("trace", logging));
    using Entries = std::filesystem::directory_iterator;
    EXPECT_EQ(std::distance(Entries(reports), {}), CrashReports::kMostReports);

    Notices notices;
    crashes.tellNews(notices);
    crashes.tellNews(notices);
    ASSERT_EQ(notices.texts.size(), 1u);
    EXPECT_TRUE(test::has(notices.texts[0], reports));
}

} // namespace tarvo
