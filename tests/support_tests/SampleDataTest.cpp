// Sample data is the same from wherever it is read, and a wrong place never passes for the right one.
#include "support/SampleData.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace tarvo::test {

TEST(SampleData, IsTheSameFromEveryOffset) {
    const std::string whole = sample(0, 20'000);
    for (const std::int64_t offset : {1, 4095, 4096, 4097, 8191, 12'288})
        EXPECT_EQ(sample(offset, 7'000), whole.substr(static_cast<std::size_t>(offset), 7'000)) << offset;
    const std::int64_t far = (std::int64_t{1} << 40) + 5;
    EXPECT_EQ(sample(far, 9'000).substr(5'000), sample(far + 5'000, 4'000));
}

TEST(SampleData, DoesNotRepeat) {
    const std::string piece = sample(0, 64);
    EXPECT_EQ(sample(1, 1'000'000).find(piece), std::string::npos);
    for (int bit = 12; bit < 50; ++bit)
        EXPECT_NE(sample(std::int64_t{1} << bit, 64), piece) << bit;
}

TEST(SampleData, AFileIsComparedToItsLastByte) {
    const TemporaryFolder folder;
    const std::int64_t size = 600'000;
    std::string content = sample(0, size);
    EXPECT_EQ(fileIsSample(folder.write("right", content), size), "");
    EXPECT_NE(fileIsSample(folder.write("long", content + "x"), size).find("goes on"), std::string::npos);
    EXPECT_NE(fileIsSample(folder.write("short", content.substr(1)), size), "");
    EXPECT_NE(fileIsSample(folder.write("cut", content.substr(0, 500'000)), size).find("ends at byte 500000"),
              std::string::npos);
    EXPECT_NE(fileIsSample(folder.path("none"), size), "");
    content[555'555] ^= 1;
    EXPECT_NE(fileIsSample(folder.write("wrong", content), size).find("byte 555555 is"), std::string::npos);
    std::fill(content.begin() + 300'000, content.begin() + 301'000, '\0');
    EXPECT_NE(fileIsSample(folder.write("hole", content), size).find("never written"), std::string::npos);
}

} // namespace tarvo::test
