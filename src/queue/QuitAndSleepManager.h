// Keeps the computer awake while something downloads.
#pragma once

#include <cstddef>
#include <cstdint>

#include "queue/SleepInhibitor.h"

namespace tarvo {

/// Asks once for a whole stretch of downloading, however many jobs run in it. Where the computer can't be
/// kept awake, the downloads go on all the same. Main thread.
class QuitAndSleepManager {
public:
    /// `inhibitor` outlives the manager.
    explicit QuitAndSleepManager(SleepInhibitor& inhibitor) : m_inhibitor(inhibitor) {}

    /// Lets the computer sleep again.
    ~QuitAndSleepManager();

    QuitAndSleepManager(const QuitAndSleepManager&) = delete;
    QuitAndSleepManager& operator=(const QuitAndSleepManager&) = delete;

    /// To be called with the number of running jobs, every second.
    void setActiveDownloads(std::size_t count);

    void disableSleep();
    void enableSleep();

private:
    SleepInhibitor& m_inhibitor;
    std::uint32_t m_activeSleepPreventionId = 0; // 0: none
    std::size_t m_pendingDownloads = 0;
};

} // namespace tarvo
