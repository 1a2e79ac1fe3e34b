// A wrong place never passes for the right one, and a wrong file never for the whole.
#include "support/SampleData.h"
#include "support/TemporaryFolder.h"
#include "support/Text.h"

#include <gtest/gtest.h>

namespace tarvo::test {

TEST(SampleData, DoesNotRepeat) {
    for (int bit = 12; bit < 50; ++bit)
        EXPECT_NE(sample(std::int64_t{1} << bit, 64), sample(0, 64)) << bit;
    EXPECT_FALSE(has(sample(1, 1'000'000), sample(0, 64)));
}

TEST(SampleData, AFileIsComparedToItsLastByte) {
    const TemporaryFolder folder;
    std::string content = sample(0, 600'000);
    const auto verdict = [&](const std::string& text) {
        return fileIsSample(folder.write("file", text), 600'000);
    };
    EXPECT_EQ(verdict(content), "");
    EXPECT_NE(verdict(content + "x"), "");
    EXPECT_NE(verdict(content.substr(1)), "");
    EXPECT_NE(fileIsSample(folder.path("none"), 0), "");
    content.back() ^= 1;
    EXPECT_NE(verdict(content), "");
}

} // namespace tarvo::test
