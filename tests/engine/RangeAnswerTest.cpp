// Which answers may be written into the file, and which may not.
#include "engine/transfer/RangeAnswer.h"

#include <gtest/gtest.h>

namespace tarvo {

TEST(JudgeRangeAnswer, OnlyTheRangeThatWasAskedFor) {
    constexpr auto accepted = RangeVerdict::accepted;
    constexpr auto unexpected = RangeVerdict::unexpected;
    constexpr auto httpError = RangeVerdict::httpError;

    const struct {
        std::int64_t status;
        std::optional<std::string> contentRange;
        RangeVerdict verdict;
    } cases[] = {
        {206, "bytes 100-199/1000", accepted},
        {206, "bytes 100-149/1000", accepted}, // shorter: the rest is fetched later
        {206, "bytes 100-200/1000", unexpected},
        {206, "bytes 101-199/1000", unexpected},
        {206, "bytes 0-199/1000", unexpected},
        {206, "bytes 100-199/999", unexpected}, // the file has changed
        {206, "bytes 100-199/*", unexpected},
        {206, "bytes */1000", unexpected},
        {206, std::nullopt, unexpected},
        {200, "bytes 100-199/1000", unexpected},
        {200, std::nullopt, unexpected},
        {204, "bytes 100-199/1000", unexpected},
        {304, "bytes 100-199/1000", unexpected},
        {0, "bytes 100-199/1000", unexpected},
        {400, "bytes 100-199/1000", httpError},
        {416, "bytes */1000", httpError},
        {503, std::nullopt, httpError},
    };

    for (const auto& [status, contentRange, verdict] : cases)
        EXPECT_EQ(judgeRangeAnswer({status, contentRange, "100"}, ByteRange(100, 200), 1000), verdict)
            << status << " " << contentRange.value_or("none");
}

TEST(JudgeWholeAnswer, ALengthThatIsKnownMustBeTheFiles) {
    EXPECT_EQ(judgeWholeAnswer({200, {}, "1000"}, 1000), RangeVerdict::accepted);
    EXPECT_EQ(judgeWholeAnswer({203, {}, "1000"}, 1000), RangeVerdict::accepted);
    EXPECT_EQ(judgeWholeAnswer({200, {}, {}}, 1000), RangeVerdict::accepted);
    EXPECT_EQ(judgeWholeAnswer({200, {}, "7"}, 0), RangeVerdict::accepted);
    EXPECT_EQ(judgeWholeAnswer({200, {}, "999"}, 1000), RangeVerdict::unexpected);
    EXPECT_EQ(judgeWholeAnswer({206, "bytes 0-99/1000", "100"}, 1000), RangeVerdict::unexpected);
    EXPECT_EQ(judgeWholeAnswer({302, {}, {}}, 0), RangeVerdict::unexpected);
    EXPECT_EQ(judgeWholeAnswer({404, {}, "1000"}, 1000), RangeVerdict::httpError);
}

TEST(ContentRange, IsReadWholeOrNotAtAll) {
    const auto range = ContentRange::parse("bytes 0-9223372036854775806/9223372036854775807");
    ASSERT_TRUE(range);
    EXPECT_EQ(range->last, 9223372036854775806);
    EXPECT_EQ(range->completeLength, 9223372036854775807);
    for (const char* bad :
         {"", "bytes", "0-9/10", "bytes 0-9", "bytes 0-9/10 ", "bytes 0-9/10, bytes 1-2/10", "bytes 9-8/10",
          "bytes 0-10/10", "bytes -1-9/10", "bytes +0-9/10", "bytes 0--9/10", "bytes 0-9/-10", "items 0-9/10",
          "bytes 0-9223372036854775808/9223372036854775809", "bytes 0x0-9/10", "bytes 0 - 9/10"})
        EXPECT_FALSE(ContentRange::parse(bad)) << bad;
}

} // namespace tarvo
