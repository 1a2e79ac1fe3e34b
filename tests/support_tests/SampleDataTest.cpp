// A wrong place never passes for the right one, and a wrong file never for the whole.
#include "support/SampleData.h"
#include "support/TemporaryFolder.h"
#include "support/Text.h"

#include <gtest/gtest.h>

namespace tarvo::test {

TEST(SampleData, IsTheSameFromEveryOffsetAndDoesNotRepeat) {
    const std::string whole = sample(0, 20'000);
    for (const std::int64_t offset : {1, 4095, 4096, 4097, 12'288})
        EXPECT_EQ(sample(offset, 7'000), whole.substr(static_cast<std::size_t>(offset), 7'000)) << offset;
    const std::string piece = sample(0, 64);
    EXPECT_FALSE(has(sample(1, 1'000'000), piece));
    for (int bit = 12; bit < 50; ++bit)
        EXPECT_NE(sample(std::int64_t{1} << bit, 64), piece) << bit;
}

TEST(SampleData, AFileIsComparedToItsLastByte) {
    const TemporaryFolder folder;
    const std::int64_t size = 600'000;
    std::string content = sample(0, size);
    EXPECT_EQ(fileIsSample(folder.write("right", content), size), "");
    EXPECT_NE(fileIsSample(folder.write("long", content + "x"), size), "");
    EXPECT_NE(fileIsSample(folder.write("shifted", content.substr(1)), size), "");
    EXPECT_NE(fileIsSample(folder.write("cut", content.substr(0, 524'288)), size), "");
    EXPECT_NE(fileIsSample(folder.path("none"), 0), "");
    content.back() ^= 1;
    EXPECT_NE(fileIsSample(folder.write("wrong", content), size), "");
}

} // namespace tarvo::test
