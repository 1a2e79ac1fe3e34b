// The speed of a download, smoothed over its last intervals, and the alarm when nothing arrives any more.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>

#include "base/Clock.h"

namespace tarvo {

class Speedometer;

/// Who wants to know that a recording speedometer has seen no byte for too long: the owning job.
class SpeedometerDelegate {
public:
    virtual ~SpeedometerDelegate() = default;

    /// On the main thread, from within flushSpeedBuffer. `silence` is the length of the empty intervals.
    virtual void speedometerDetectedTimeout(Speedometer& speedometer, Seconds silence) = 0;
};

/// Turns bytes that arrive into bytes per second. Has no timer: its owner flushes it twice a second.
/// noteBytesReceived may be called from any thread, everything else only from the main thread.
class Speedometer {
public:
    /// `delegate` owns this speedometer and therefore outlives it; null asks for no alarm. The history
    /// keeps at most `historyLength` - 1 intervals; `timeout` is the longest silence that passes.
    Speedometer(std::size_t historyLength, Seconds timeout, SpeedometerDelegate* delegate, TimePoint now);

    Speedometer(const Speedometer&) = delete;
    Speedometer& operator=(const Speedometer&) = delete;

    /// Counts bytes for the interval that is open. Costs one relaxed atomic addition.
    void noteBytesReceived(std::int64_t count) { m_speedBuffer.fetch_add(count, std::memory_order_relaxed); }

    /// Closes the interval if it is longer than half a second, else leaves everything as it is. The
    /// delegate is told as soon as the empty intervals in a row exceed the timeout, and again only
    /// after another full timeout. An empty interval counts a second at the most: a longer one is the
    /// owner's delay (a stopped process, a busy main thread), not the server's.
    void flushSpeedBuffer(TimePoint now);

    /// From here on intervals count; the open one begins at `now`, and so does any silence.
    void startRecording(TimePoint now);

    /// From here on intervals don't count, and the speed is 0.
    void stopRecording();

    /// The mean of the intervals in the history, 0 without any.
    std::int64_t bytesPerSecond() const;

    std::int64_t speedHistorySum() const;

    /// Speeds in bytes per second, oldest first.
    const std::deque<std::int64_t>& speedHistory() const { return m_speedHistory; }

    Seconds timeIntervalSinceSpeedStartDate(TimePoint now) const { return now - m_speedStartDate; }

    /// The length of all intervals that counted.
    Seconds totalDownloadTime() const { return m_totalDownloadTime; }

private:
    void record(std::int64_t speed, Seconds elapsed);

    SpeedometerDelegate* const m_delegate;
    const std::size_t m_maxHistoryLength;
    const Seconds m_timeout;
    std::atomic<std::int64_t> m_speedBuffer{0};
    std::deque<std::int64_t> m_speedHistory;
    bool m_shouldRecord = false;
    TimePoint m_speedStartDate;
    Seconds m_totalDownloadTime{0};
    Seconds m_totalZeroByteTime{0};
};

} // namespace tarvo
