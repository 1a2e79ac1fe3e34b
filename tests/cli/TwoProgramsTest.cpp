// Two programs that download the same addresses into the same folder at the same time.
#include "ProgramTest.h"

#include <filesystem>

#include <spdlog/fmt/fmt.h>

namespace tarvo::test {

class TwoProgramsTest : public ProgramTest {
protected:
    /// Both come to an end, and nothing is wrong, missing or left over; a file may be there twice.
    void downloadTwice(int count, std::chrono::seconds limit) {
        constexpr std::int64_t size = 200'000;
        std::vector<std::string> addresses{"-j", "4", "-x", "4", "--retries", "9", "-d", files};
        for (int i = 0; i < count; ++i)
            addresses.push_back(server.url(size, "rate=200000", fmt::format("file{:02}.bin", i)));
        Program first(home, addresses);
        Program second(home, addresses);
        EXPECT_EQ(first.status(limit), 0) << first.problems();
        EXPECT_EQ(second.status(limit), 0) << second.problems();
        for (int i = 0; i < count; ++i)
            EXPECT_TRUE(Disk::exists(file(fmt::format("file{:02}.bin", i)))) << i;
        for (const auto& entry : std::filesystem::directory_iterator(files)) {
            EXPECT_EQ(entry.path().extension(), ".bin") << entry.path();
            EXPECT_EQ(fileIsSample(entry.path(), size), "") << entry.path();
        }
    }
};

TEST_F(TwoProgramsTest, NeitherSpoilsWhatTheOtherDoes) {
    downloadTwice(3, std::chrono::seconds(60));
}

TEST_F(TwoProgramsTest, DISABLED_TwentyFiles) {
    downloadTwice(20, std::chrono::seconds(300));
}

} // namespace tarvo::test
