#include "queue/QuitAndSleepManager.h"

#include "base/Localized.h"
#include "base/Log.h"
#include "base/Runloop.h"

namespace tarvo {

namespace {

void logOutcome(int result) {
    if (result == 0)
        Log::verbose("IOReturn successful. Mac will not sleep.");
    else
        Log::warning("IOReturn not successful: got {}", result);
}

} // namespace

QuitAndSleepManager::~QuitAndSleepManager() {
    if (m_activeSleepPreventionId != 0)
        enableSleep();
}

void QuitAndSleepManager::setActiveDownloads(std::size_t count) {
    Runloop::assertMain();
    if (count > 0 && m_pendingDownloads == 0)
        disableSleep();
    else if (count == 0 && m_pendingDownloads > 0)
        enableSleep();
    m_pendingDownloads = count;
}

void QuitAndSleepManager::disableSleep() {
    Runloop::assertMain();
    if (!Log::assertThat(m_activeSleepPreventionId == 0))
        m_inhibitor.release(m_activeSleepPreventionId); // or it would never be released
    m_activeSleepPreventionId = m_inhibitor.inhibit(localized("tr.sleep.reason"), &logOutcome);
}

void QuitAndSleepManager::enableSleep() {
    Runloop::assertMain();
    if (!Log::assertThat(m_activeSleepPreventionId != 0)) {
        Log::error("Tried to enable sleep with invalid assertion ID!");
        return;
    }
    Log::verbose("Enable sleep again");
    m_inhibitor.release(m_activeSleepPreventionId);
    m_activeSleepPreventionId = 0;
}

} // namespace tarvo
