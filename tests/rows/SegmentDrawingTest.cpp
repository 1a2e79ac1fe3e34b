// The drawing of a file's segments: no hole is hidden, and no connection.
#include "rows/SegmentDrawing.h"

#include "rows/ConnectionSpeeds.h"

#include <gtest/gtest.h>

namespace tarvo {

namespace {

/// A letter for each pixel: what is done, partly there, missing, or the number of the connection.
std::string drawn(const SegmentsSnapshot& segments, int width) {
    std::string bar;
    int expected = 0;
    for (const auto& piece : drawingOf(segments, width).pieces) {
        EXPECT_EQ(piece.from, expected) << "no gap";
        expected = piece.to;
        const char letters[] = {'.', '-', static_cast<char>('0' + piece.connection), '#'};
        bar.append(static_cast<std::size_t>(piece.to - piece.from), letters[static_cast<int>(piece.kind)]);
    }
    return bar;
}

} // namespace

TEST(SegmentDrawing, ShowsEachPixelForWhatItsBytesAre) {
    constexpr std::int64_t large = 9'000'000'000'000'000'000; // where a product with the width overflows

    const struct {
        SegmentsSnapshot segments;
        int width;
        std::string bar;
    } cases[] = {
        {{100}, 10, ".........."},
        {{100, {{0, 100}}}, 10, "##########"},
        {{100, {{0, 99}}}, 10, "#########-"},
        {{1'000'000, {{0, 499'999}, {500'000, 1'000'000}}}, 10, "####-#####"},
        {{100, {{1, 2}, {3, 4}, {95, 100}}}, 10, "-........-"},
        {{100, {{0, 10}}, {{50, 55, 100}, {0, 20, 50}}}, 10, "#111122222"},
        {{100, {}, {{30, 40, 0}}}, 10, "...1111111"}, // to where the server says
        {{3, {{1, 2}}}, 9, "...###..."},              // fewer bytes than pixels
        {{large, {{0, large / 2}}}, 10, "#####....."},
        {{0, {{0, 50}}}, 10, ""},
        {{100}, 0, ""},
    };

    for (const auto& each : cases)
        EXPECT_EQ(drawn(each.segments, each.width), each.bar);
    const auto heads = drawingOf({100, {}, {{50, 75, 100}, {0, 20, 50}, {0, 100, 0}}}, 20).heads;
    ASSERT_EQ(heads.size(), 3u);
    EXPECT_EQ(heads[0], (SegmentHead{4, 1}));
    EXPECT_EQ(heads[1], (SegmentHead{20, 2}));
    EXPECT_EQ(heads[2], (SegmentHead{15, 3}));
}

TEST(SegmentDrawing, SaysItInWords) {
    const SegmentsSnapshot some{100, {{10, 20}, {50, 90}}, {{0, 5, 10}}};
    EXPECT_EQ(missingParts(some), 3u);
    EXPECT_EQ(doneFromStart(some), 0);
    EXPECT_EQ(doneFromStart({100, {{0, 20}, {50, 90}}}), 20);
    EXPECT_EQ(spokenSegments(some, 50.9), "50 percent; 1 connection; 3 parts missing");
    EXPECT_EQ(spokenSegments({100, {{0, 99}}}, 99.99), "99 percent; 0 connections; 1 part missing");
    EXPECT_EQ(spokenSegments({0, {{0, 99}}, {{}, {}}}, -1), "size not known; 2 connections");
}

TEST(ConnectionSpeeds, AreTheMeanOfTheLastSecondsOfEachConnection) {
    using Speeds = std::vector<std::optional<std::int64_t>>;
    const TimePoint start{std::chrono::hours(1)};
    ConnectionSpeeds speeds;
    EXPECT_EQ(speeds.look(start, {{0, 0, 5000}}), Speeds{std::nullopt});
    EXPECT_EQ(speeds.look(start + std::chrono::seconds(2), {{0, 2000, 5000}, {5000, 5000, 0}}),
              (Speeds{1000, std::nullopt}));
    const std::vector<ConnectionSpan> later{{0, 2000, 5000}, {5000, 8072, 0}};
    const auto last = speeds.look(start + std::chrono::seconds(4), later);
    EXPECT_EQ(last, (Speeds{0, 1536})) << "the first has been silent for two seconds";
    EXPECT_EQ(connectionsText(later, last), "1 – 0 B/s – 2.0 KiB of 4.9 KiB\n2 – 1.5 KiB/s – 3.0 KiB");
}

} // namespace tarvo
