// The speed shown and the stall alarm follow the bytes and the clock, and nothing else.
#include "jobs/Speedometer.h"

#include <vector>

#include <gtest/gtest.h>

#include "support/FakeClock.h"

namespace tarvo {

namespace {

class SpeedometerTest : public ::testing::Test, protected SpeedometerDelegate {
protected:
    void speedometerDetectedTimeout(Speedometer&, Seconds silence) override {
        m_silences.push_back(silence.count());
    }

    void interval(std::int64_t bytes, double seconds) {
        m_speedometer.noteBytesReceived(bytes);
        m_clock.advance(Seconds(seconds));
        m_speedometer.flushSpeedBuffer(m_clock.now());
    }

    void silence(int seconds) {
        for (int i = 0; i < seconds; ++i)
            interval(0, 1);
    }

    test::FakeClock m_clock;
    Speedometer m_speedometer{10, Seconds(15), this, m_clock.now()};
    std::vector<double> m_silences;
};

} // namespace

TEST_F(SpeedometerTest, TheSpeedIsTheMeanOfTheLastNineIntervals) {
    m_speedometer.startRecording(m_clock.now());
    interval(1000, 0.5);
    EXPECT_TRUE(m_speedometer.speedHistory().empty()) << "half a second is not yet one";
    interval(0, 0.3);
    EXPECT_EQ(m_speedometer.speedHistory(), std::deque<std::int64_t>{1250}) << "the bytes stay in the buffer";
    for (int i = 1; i <= 20; ++i)
        interval(i * 100, 1);
    EXPECT_EQ(m_speedometer.bytesPerSecond(), 1600); // of 1200 … 2000
    m_speedometer.stopRecording();
    EXPECT_EQ(m_speedometer.bytesPerSecond(), 0);
}

TEST_F(SpeedometerTest, ASilenceIsReportedOncePerTimeout) {
    m_speedometer.startRecording(m_clock.now());
    silence(15);
    EXPECT_TRUE(m_silences.empty()) << "exactly the timeout passes";
    interval(1, 1);
    silence(15);
    EXPECT_TRUE(m_silences.empty()) << "one byte ended the silence";
    interval(0, 0.75);
    silence(16);
    EXPECT_EQ(m_silences, (std::vector<double>{15.75, 16}));
    interval(0, 600);
    EXPECT_EQ(m_silences.size(), 2u) << "a program that stood still itself is no silent server";
}

TEST_F(SpeedometerTest, APausedDownloadIsNeverStalledAndItsBytesDoNotCount) {
    m_speedometer.startRecording(m_clock.now());
    silence(14);
    m_speedometer.stopRecording();
    m_clock.advance(Seconds(40)); // and no flush comes
    m_speedometer.noteBytesReceived(5000);
    m_speedometer.startRecording(m_clock.now());
    silence(15);
    EXPECT_TRUE(m_silences.empty());
    EXPECT_EQ(m_speedometer.bytesPerSecond(), 0);
    EXPECT_DOUBLE_EQ(m_speedometer.totalDownloadTime().count(), 29);
}

} // namespace tarvo
