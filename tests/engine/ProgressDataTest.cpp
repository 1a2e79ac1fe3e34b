// The record of what is done, judged against the plainest one there is: a flag for each byte.
#include "engine/progress/ProgressData.h"

#include <algorithm>
#include <random>

#include <gtest/gtest.h>

#include "support/Ranges.h"

namespace tarvo {

namespace {

using test::Bounds;
using test::boundsOf;

/// The stretches of `flags` that are `value`.
Bounds stretchesOf(const std::vector<bool>& flags, bool value) {
    Bounds stretches;
    for (std::int64_t i = 0; i < std::ssize(flags); ++i) {
        if (flags[i] != value)
            continue;
        if (i == 0 || flags[i - 1] != value)
            stretches.emplace_back(i, i);
        stretches.back().second = i + 1;
    }
    return stretches;
}

void expectRecord(const ProgressData& record, const std::vector<bool>& flags) {
    ASSERT_EQ(boundsOf(record.readout()), stretchesOf(flags, true));
    ASSERT_EQ(boundsOf(record.readoutHoles()), stretchesOf(flags, false));
    ASSERT_EQ(record.totalBytesDownloaded(), std::count(flags.begin(), flags.end(), true));
    ASSERT_EQ(record.isComplete(), stretchesOf(flags, false).empty());
    ASSERT_TRUE(record.isSound());
}

} // namespace

TEST(ProgressData, AnyOrderOfWritesLeavesWhatWasWritten) {
    std::mt19937 random(20240517);
    for (int round = 0; round < 300; ++round) {
        const std::int64_t size = 1 + random() % 60;
        ProgressData record(size);
        std::vector<bool> flags(static_cast<std::size_t>(size));
        for (int step = 0; step < 25; ++step) {
            const std::int64_t offset = random() % size;
            if (random() % 8 == 0) {
                record.forgetFrom(offset);
                std::fill(flags.begin() + offset, flags.end(), false);
            } else {
                const std::int64_t count = std::min<std::int64_t>(random() % 12, size - offset);
                record.recordBytesDownloaded(offset, count);
                std::fill_n(flags.begin() + offset, count, true);
            }
            ASSERT_NO_FATAL_FAILURE(expectRecord(record, flags)) << "round " << round << " step " << step;
        }
        ASSERT_NO_FATAL_FAILURE(expectRecord(ProgressData(size, record.readout()), flags));
    }
}

TEST(ProgressData, ACopyStaysAsItWas) {
    ProgressData record(100);
    record.recordBytesDownloaded(0, 10);
    record.recordBytesDownloaded(20, 10);
    const auto copy = record.copy();
    record.recordBytesDownloaded(10, 10);
    EXPECT_EQ(boundsOf(record.readout()), (Bounds{{0, 30}}));
    EXPECT_EQ(boundsOf(copy->readout()), (Bounds{{0, 10}, {20, 30}})) << "a copy has ranges of its own";
}

TEST(ProgressData, AnUnknownSizeHasOneStreamAndNoHoles) {
    ProgressData record(0);
    record.recordBytesDownloaded(0, 10);
    record.recordBytesDownloaded(10, 10);
    record.recordBytesDownloaded(20, -5);
    EXPECT_EQ(record.totalBytesDownloaded(), 20);
    EXPECT_TRUE(record.readoutHoles().empty());
    EXPECT_FALSE(record.isComplete());
    EXPECT_TRUE(record.isSound());
}

TEST(ProgressData, ALongListIsDestroyedWithoutRecursion) {
    ByteRanges many;
    for (std::int64_t i = 500'000; i > 0; --i)
        many.push_back(std::make_shared<ByteRange>(2 * i, 2 * i + 1));
    ProgressData record(2'000'000, many);
    EXPECT_EQ(record.totalBytesDownloaded(), 500'000);
    record.forgetFrom(1'000'000);
    EXPECT_EQ(record.totalBytesDownloaded(), 499'999);
}

} // namespace tarvo
