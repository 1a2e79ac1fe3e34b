// Two programs that download the same addresses into the same folder at the same time.
#include "ProgramTest.h"

#include <filesystem>
#include <set>

namespace tarvo::test {

using TwoProgramsTest = ProgramTest;

TEST_F(TwoProgramsTest, NeitherSpoilsWhatTheOtherDoes) {
    constexpr std::int64_t size = 200'000;
    std::vector<std::string> addresses{"-j", "4", "-x", "4", "--retries", "9", "-d", files};
    std::set<std::string> missing;
    for (const auto* name : {"a.bin", "b.bin", "c.bin"}) {
        addresses.push_back(server.url(size, "rate=200000", name));
        missing.insert(name);
    }
    Program first(home, addresses);
    Program second(home, addresses);
    EXPECT_EQ(first.status(), 0) << first.problems();
    EXPECT_EQ(second.status(), 0) << second.problems();
    for (const auto& entry : std::filesystem::directory_iterator(files)) { // a file may be there twice
        EXPECT_EQ(fileIsSample(entry.path(), size), "") << entry.path();
        missing.erase(entry.path().filename());
    }
    EXPECT_TRUE(missing.empty());
}

} // namespace tarvo::test
