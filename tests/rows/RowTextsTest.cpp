// What a row says in each state.
#include "rows/RowTexts.h"

#include <gtest/gtest.h>

namespace tarvo {
namespace {

using namespace std::chrono_literals;

constexpr TimePoint kNow{1000s};
constexpr RowMoment kRunning{kNow, true};
constexpr RowMoment kStopped{kNow, false};

RowFacts failed(std::uint64_t attempts, std::string recovery = {}) {
    RowFacts facts;
    facts.state = rf_state_failed;
    facts.attemptNumber = attempts;
    facts.error = Error::tarvo("It broke", std::move(recovery));
    return facts;
}

TEST(RowTexts, EachStateHasItsWords) {
    const std::pair<int, const char*> table[] = {
        {0, "Waiting"},        {1, "Asking the server…"}, {2, "Ready"},          {4, "Paused"},
        {6, "Unknown State!"}, {7, "Finished"},           {8, "Unknown State!"}, {-1, "Unknown State!"}};
    for (const auto& [state, words] : table)
        EXPECT_EQ(statusText(RowFacts{.state = state}, kRunning), words) << state;
    const RowFacts recovered{.state = rf_state_ready, .recoveredSession = true};
    EXPECT_NE(statusText(recovered, kRunning), statusText(recovered, kStopped));
}

TEST(RowTexts, ARunningOneSaysSpeedAndTimeIfTheSizeIsKnown) {
    RowFacts facts{.state = rf_state_running, .percent = 12.9, .bytesPerSecond = 1536};
    facts.secondsRemaining = 3725;
    EXPECT_EQ(statusText(facts, kRunning), "1.5 KiB/s – 1 h 2 min 5 s left");
    EXPECT_EQ(spokenStatus(facts, kRunning), "12 percent, 1.5 KiB/s – 1 h 2 min 5 s left");
    facts.secondsRemaining = 604'800;
    EXPECT_EQ(statusText(facts, kRunning), "1.5 KiB/s");
    facts.connections = 3;
    facts.wantedConnections = 10;
    facts.connectionLimit = ConnectionLimit{3, true};
    EXPECT_EQ(statusText(facts, kRunning), "1.5 KiB/s – 3 of 10 connections: all that the server allows");
    facts.connectionLimit.reset();
    facts.percent = -1;
    EXPECT_EQ(statusText(facts, kRunning), "Downloading in one piece");
    EXPECT_EQ(spokenStatus(facts, kRunning), "Downloading in one piece");
}

TEST(RowTexts, SpeedsHaveTheirThresholds) {
    const std::tuple<std::int64_t, const char*, double> table[] = {
        {-1, "tr.status.speed.bps", -1},
        {1023, "tr.status.speed.bps", 1023},
        {1024, "tr.status.speed.kbps", 1},
        {1'048'576, "tr.status.speed.mbps", 1},
        {2'147'483'648, "tr.status.speed.gbps", 2048}};
    for (const auto& [speed, key, value] : table) {
        EXPECT_EQ(speedFormat(speed).key, key) << speed;
        EXPECT_EQ(speedFormat(speed).value, value) << speed;
    }
    EXPECT_EQ(speedFormat(1'048'575).key, "tr.status.speed.kbps");
    EXPECT_EQ(speedText(2'147'483'648), "2048.0 MiB/s") << "what the key is given are mebibytes";
}

TEST(RowTexts, HoursBeginAgainAtSixty) {
    const std::pair<double, const char*> table[] = {{59.9, "– 0 min 59 s left"},
                                                    {3725, "– 1 h 2 min 5 s left"},
                                                    {60 * 3600.0, "– 0 min 0 s left"},
                                                    {61 * 3600.0, "– 1 h 0 min 0 s left"},
                                                    {604'800, ""},
                                                    {std::numeric_limits<double>::quiet_NaN(), ""}};
    for (const auto& [seconds, words] : table)
        EXPECT_EQ(remainingTimeText(seconds), words) << seconds;
}

TEST(RowTexts, DurationsBelowAHundredHoursAreWhole) {
    EXPECT_EQ(durationText(Seconds(-3)), "0 min 0 s");
    EXPECT_EQ(durationText(Seconds(363.9)), "6 min 3 s");
    EXPECT_EQ(durationText(Seconds(99 * 3600 + 59)), "99 h 0 min 59 s");
    EXPECT_EQ(durationText(Seconds(100 * 3600)), "4 days");
    EXPECT_EQ(durationText(Seconds(std::numeric_limits<double>::infinity())), "9999 days");
}

TEST(RowTexts, AFailureSaysWhyAndWhatComesNext) {
    RowFacts facts = failed(3);
    EXPECT_EQ(statusText(facts, kStopped), "Failed after 3 attempts. It broke. Reload it to try again.");
    EXPECT_EQ(statusText(failed(1, "Mend it."), kStopped), "Failed. It broke. Mend it.");
    EXPECT_EQ(statusText(facts, kRunning), "Attempt 4 comes soon. It broke.");
    facts.nextScheduledRun = kNow + 10'700ms;
    EXPECT_EQ(statusText(facts, kRunning), "Attempt 4 in 10 s. It broke.");
    EXPECT_EQ(statusText(facts, kStopped), "Failed after 3 attempts. It broke. Reload it to try again.");
    facts.nextScheduledRun = kNow - 5s;
    EXPECT_EQ(statusText(facts, kRunning), "Attempt 4 in 0 s. It broke.");
    facts.isRetryable = false;
    EXPECT_EQ(statusText(facts, kRunning), "Failed after 3 attempts. It broke. Reload it to try again.");
    facts.error = Error::tarvo("No answer: http://a:80/x said nothing.");
    EXPECT_EQ(spokenStatus(facts, kRunning).find(':'), std::string::npos);
}

TEST(RowTexts, TheBarHasALengthWhereThatMeansSomething) {
    const auto isVague = [](int state, bool multipart, double percent) {
        return isIndeterminate(RowFacts{.state = state, .percent = percent, .supportsMultipart = multipart});
    };
    EXPECT_TRUE(isVague(0, true, 50) && isVague(1, true, 50) && isVague(9, true, 50));
    EXPECT_FALSE(isVague(2, false, -1) || isVague(7, false, -1));
    for (const int state : {3, 4}) {
        EXPECT_TRUE(isVague(state, false, 50));
        EXPECT_FALSE(isVague(state, true, -1));
    }
    for (const int state : {5, 6}) {
        EXPECT_TRUE(isVague(state, true, 0));
        EXPECT_FALSE(isVague(state, false, 0.1));
    }
    for (const int state : {0, 5, 6})
        EXPECT_EQ(barAnimation(state), BarAnimation::stopped) << state;
    for (const int state : {1, 2, 3, 4, 7})
        EXPECT_EQ(barAnimation(state), BarAnimation::moving) << state;
    EXPECT_EQ(barAnimation(8), std::nullopt);
}

} // namespace
} // namespace tarvo
