// A crash of the real program leaves a report that tells where it was; the next start says so, once.
#include "cli/Program.h"
#include "support/Text.h"

#include <algorithm>
#include <csignal>
#include <filesystem>

#include <gmock/gmock.h>

namespace tarvo::test {

using namespace std::chrono_literals;
using ::testing::HasSubstr;

class CrashTest : public ::testing::Test {
protected:
    std::vector<std::string> contentsOf(const std::string& folder) const {
        std::vector<std::string> contents;
        std::error_code none;
        for (const auto& entry : std::filesystem::directory_iterator(state + folder, none))
            contents.push_back(contentOf(entry.path()));
        return contents;
    }

    int timesLogged(const std::string& text) const {
        int times = 0;
        for (const auto& log : contentsOf("/logs"))
            times += countOf(log, text);
        return times;
    }

    /// Starts it, and sends the signal as soon as it is on its feet.
    int statusAfter(int signal) {
        Program program(home, {"--headless"});
        EXPECT_TRUE(program.runsUntil([&] { return timesLogged(kStarted) > m_starts; }));
        ++m_starts;
        program.signal(signal);
        return program.status();
    }

    static constexpr const char* kStarted = "Bookmark hasn't been set";
    const TemporaryFolder home;
    const std::string state = home.path("XDG_STATE_HOME/tarvo");

private:
    int m_starts = 0;
};

TEST_F(CrashTest, LeavesAReportOfWhichTheNextStartTells) {
    EXPECT_GT(statusAfter(SIGSEGV), 0);
    const auto reports = contentsOf("/crashes");
    ASSERT_EQ(reports.size(), 1u);
    for (const auto* part :
         {"Tarvo ", TARVO_VERSION, "SIGSEGV", "(main+0x", "QCoreApplication::exec()+0x", kStarted})
        EXPECT_THAT(reports[0], HasSubstr(part));
    EXPECT_EQ(statusAfter(SIGTERM), 0);
    EXPECT_EQ(statusAfter(SIGTERM), 0);
    EXPECT_EQ(timesLogged("The program has crashed before"), 1);
    EXPECT_EQ(contentsOf("/crashes"), reports);
}

} // namespace tarvo::test
