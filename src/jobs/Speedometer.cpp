// Interval speeds, their mean, and the length of the present silence.
#include "jobs/Speedometer.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "base/Runloop.h"

namespace tarvo {

namespace {

constexpr Seconds kShortestInterval{0.5};
constexpr Seconds kLongestSilentInterval{1.0};

/// `value` without its fraction; what no 64-bit number can hold is cut to the largest one.
std::int64_t truncated(double value) {
    constexpr double kLimit = 9.2e18;
    if (value >= kLimit)
        return std::numeric_limits<std::int64_t>::max();
    return value <= -kLimit ? std::numeric_limits<std::int64_t>::min() : static_cast<std::int64_t>(value);
}

} // namespace

Speedometer::Speedometer(std::size_t historyLength, Seconds timeout, SpeedometerDelegate* delegate,
                         TimePoint now)
    : m_delegate(delegate), m_maxHistoryLength(historyLength), m_timeout(timeout), m_speedStartDate(now) {
}

void Speedometer::flushSpeedBuffer(TimePoint now) {
    Runloop::assertMain();
    const Seconds elapsed = timeIntervalSinceSpeedStartDate(now);
    if (elapsed <= kShortestInterval)
        return;
    const std::int64_t bytes = m_speedBuffer.exchange(0, std::memory_order_relaxed);
    m_speedStartDate = now;
    const std::int64_t speed = truncated(static_cast<double>(bytes) / elapsed.count());
    if (m_shouldRecord)
        record(speed, elapsed);
    if (!m_shouldRecord || speed != 0)
        m_totalZeroByteTime = Seconds(0);
    if (m_totalZeroByteTime <= m_timeout)
        return;
    // Reset before the call: the delegate may fail the job, and that may be the end of this object.
    const Seconds silence = std::exchange(m_totalZeroByteTime, Seconds(0));
    if (m_delegate)
        m_delegate->speedometerDetectedTimeout(*this, silence);
}

void Speedometer::record(std::int64_t speed, Seconds elapsed) {
    m_speedHistory.push_back(speed);
    if (m_speedHistory.size() >= m_maxHistoryLength)
        m_speedHistory.pop_front();
    // A longer interval means that this program stood still itself: no byte could have been noted.
    if (speed == 0)
        m_totalZeroByteTime += std::min(elapsed, kLongestSilentInterval);
    m_totalDownloadTime += elapsed;
}

void Speedometer::startRecording(TimePoint now) {
    Runloop::assertMain();
    m_speedBuffer.store(0, std::memory_order_relaxed);
    m_totalZeroByteTime = Seconds(0);
    m_speedStartDate = now;
    m_shouldRecord = true;
}

void Speedometer::stopRecording() {
    Runloop::assertMain();
    m_speedHistory.clear();
    m_shouldRecord = false;
}

std::int64_t Speedometer::bytesPerSecond() const {
    if (m_speedHistory.empty())
        return 0;
    return speedHistorySum() / static_cast<std::int64_t>(m_speedHistory.size());
}

std::int64_t Speedometer::speedHistorySum() const {
    std::int64_t sum = 0;
    for (const std::int64_t speed : m_speedHistory)
        sum = truncated(static_cast<double>(sum) + static_cast<double>(speed));
    return sum;
}

} // namespace tarvo
