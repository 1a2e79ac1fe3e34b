// When failed jobs of the queue are tried again.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <QObject>

#include "base/Clock.h"
#include "base/SerialQueue.h"
#include "queue/RemoteFilesArrayController.h"

namespace tarvo {

/// How long after its failure a job is tried again.
inline constexpr Seconds kRetryDelay{11.0};

/// From this many failures without a new byte on, each makes the next wait twice as long, up to the limit.
inline constexpr std::uint64_t kPatientAttempts = 10;
inline constexpr Seconds kMostRetryDelay{3600.0};

/// The wait after the last of `fruitless` failures in a row that have brought no new byte: first `delay`.
Seconds retryDelayAfter(std::uint64_t fruitless, Seconds delay);

/// The wait after the job's last failure: not shorter than its server has asked for (RFC 9110, section
/// 10.2.3), up to an hour.
Seconds retryDelayOf(const RemoteFile& job, Seconds delay);

/// Gives each failed job its time, and replaces it by a fresh copy when that has come. A job whose bundle is
/// away with its disk waits until the bundle is back. Main thread.
class Retries : public QObject {
public:
    using Job = std::shared_ptr<RemoteFile>;

    /// Puts a fresh copy of the job into its row, which is the answer.
    using Reload = std::function<Result<Job>(const Job& job)>;

    /// Everything referred to outlives it.
    Retries(RemoteFilesArrayController& remoteFiles, const Clock& clock, Seconds delay, Reload reload);

    /// One look at all failed jobs.
    void pass();

    /// From here on nothing is tried again.
    void stop();

private:
    void retry(const Job& job);
    void schedule(RemoteFile& job) const;
    void lookForBundles(const std::vector<Job>& jobs);
    void retryIfFound(const std::vector<Job>& jobs, const std::vector<bool>& found);
    static void noteBytes(RemoteFile& job, rf_state_t oldState, rf_state_t newState);

    RemoteFilesArrayController& m_remoteFiles;
    const Clock& m_clock;
    const Seconds m_delay;
    const Reload m_reload;
    bool m_isStopped = false;
    bool m_isLookingForBundles = false;
    SerialQueue m_bundleSearchQueue{"com.unregistered.tarvo2.bundleSearchQueue"}; // ends first
};

} // namespace tarvo
