// Which answers may be written into the file, and which may not.
#include "engine/transfer/RangeAnswer.h"

#include <gtest/gtest.h>

namespace tarvo {

TEST(JudgeRangeAnswer, OnlyTheRangeThatWasAskedFor) {
    const auto verdict = [](std::int64_t status, const std::string& contentRange) {
        return judgeRangeAnswer({status, contentRange, "100"}, ByteRange(100, 200), 1000);
    };
    EXPECT_EQ(verdict(206, "bytes 100-199/1000"), RangeVerdict::accepted);
    EXPECT_EQ(verdict(206, "bytes 100-149/1000"), RangeVerdict::accepted) << "the rest is fetched later";
    EXPECT_EQ(verdict(206, "bytes 100-200/1000"), RangeVerdict::unexpected);
    for (const std::int64_t status : {0, 200, 204, 304})
        EXPECT_EQ(verdict(status, "bytes 100-199/1000"), RangeVerdict::unexpected) << status;
    EXPECT_EQ(verdict(416, "bytes */1000"), RangeVerdict::httpError);
}

TEST(JudgeWholeAnswer, ALengthThatIsKnownMustBeTheFiles) {
    EXPECT_EQ(judgeWholeAnswer({203, {}, "1000"}, 1000), RangeVerdict::accepted);
    EXPECT_EQ(judgeWholeAnswer({200, {}, {}}, 1000), RangeVerdict::accepted);
    EXPECT_EQ(judgeWholeAnswer({200, {}, "7"}, 0), RangeVerdict::accepted);
    EXPECT_EQ(judgeWholeAnswer({200, {}, "999"}, 1000), RangeVerdict::unexpected);
    EXPECT_EQ(judgeWholeAnswer({206, "bytes 0-99/1000", "100"}, 1000), RangeVerdict::unexpected);
    EXPECT_EQ(judgeWholeAnswer({302, {}, {}}, 0), RangeVerdict::unexpected);
}

TEST(ContentRange, IsReadWholeOrNotAtAll) {
    const auto range = ContentRange::parse("bytes 0-9223372036854775806/9223372036854775807");
    ASSERT_TRUE(range);
    EXPECT_EQ(range->last, 9223372036854775806);
    EXPECT_EQ(range->completeLength, 9223372036854775807);
    for (const char* bad : {"", "0-9/10", "bytes 0-9", "bytes 0-9/*", "bytes 0-9/10 ", "bytes +0-9/10",
                            "items 0-9/10", "bytes 0-9223372036854775808/9223372036854775809"})
        EXPECT_FALSE(ContentRange::parse(bad)) << bad;
}

} // namespace tarvo
