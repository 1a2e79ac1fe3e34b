#include "queue/Retries.h"

#include "base/Disk.h"
#include "base/Log.h"
#include "base/Runloop.h"

#include <algorithm>
#include <utility>

#include <QPointer>

namespace tarvo {

Seconds retryDelayAfter(std::uint64_t fruitless, Seconds delay) {
    for (std::uint64_t i = kPatientAttempts; i < fruitless && delay < kMostRetryDelay; ++i)
        delay = std::min(delay * 2, kMostRetryDelay);
    return delay;
}

Seconds retryDelayOf(const RemoteFile& job, Seconds delay) {
    const auto& error = job.error();
    const Seconds asked(static_cast<double>(error ? error->retryAfter : 0));
    return std::max(retryDelayAfter(job.fruitlessAttempts, delay), std::min(asked, kMostRetryDelay));
}

Retries::Retries(RemoteFilesArrayController& remoteFiles, const Clock& clock, Seconds delay, Reload reload)
    : m_remoteFiles(remoteFiles), m_clock(clock), m_delay(delay), m_reload(std::move(reload)) {
    connect(&m_remoteFiles, &RemoteFilesArrayController::jobStateChanged, this,
            [](const Job& job, rf_state_t oldState, rf_state_t newState) {
                noteBytes(*job, oldState, newState);
            });
}

void Retries::noteBytes(RemoteFile& job, rf_state_t oldState, rf_state_t newState) {
    if (oldState == rf_state_ready && newState == rf_state_running)
        job.bytesAtStart = job.totalBytesDownloaded();
    if (newState != rf_state_failed || job.awaitedBundle()) // looking for that is no attempt
        return;
    const bool isFruitful = job.bytesAtStart && job.totalBytesDownloaded() > *job.bytesAtStart;
    job.fruitlessAttempts = isFruitful ? 0 : job.fruitlessAttempts + 1;
}

void Retries::pass() {
    Runloop::assertMain();
    std::vector<Job> awaiting;
    m_remoteFiles.content().forEachIn({rf_state_failed}, [&](const Job& job) {
        if (!job->nextScheduledRun) {
            const auto& error = job->error();
            if (!error || !job->isRetryable())
                return true;
            Log::verbose("Scheduler found file with error: {}", error->sentence());
            if (!job->errorDate())
                return true;
            schedule(*job);
        }
        const Seconds wait = *job->nextScheduledRun - m_clock.now();
        if (wait.count() > 0)
            Log::verbose("Scheduler will wait until {:.1f} s from now", wait.count());
        else if (job->awaitedBundle())
            awaiting.push_back(job);
        else
            retry(job);
        return true;
    });
    if (!awaiting.empty() && !m_isLookingForBundles)
        lookForBundles(awaiting);
}

void Retries::stop() {
    Runloop::assertMain();
    m_isStopped = true;
}

void Retries::schedule(RemoteFile& job) const {
    const Seconds delay = retryDelayOf(job, m_delay);
    job.nextScheduledRun = *job.errorDate() + std::chrono::duration_cast<TimePoint::duration>(delay);
}

/// Not on the main thread: where a disk is missing, a look may take its time.
void Retries::lookForBundles(const std::vector<Job>& jobs) {
    m_isLookingForBundles = true;
    std::vector<std::string> paths;
    paths.reserve(jobs.size());
    for (const auto& job : jobs)
        paths.push_back(job->awaitedBundle().value_or(""));
    m_bundleSearchQueue.async([retries = QPointer(this), jobs, paths] {
        std::vector<bool> found;
        found.reserve(paths.size());
        for (const auto& path : paths)
            found.push_back(Disk::exists(path));
        Runloop::runOnMainLater([retries, jobs, found] {
            if (retries)
                retries->retryIfFound(jobs, found);
        });
    });
}

void Retries::retryIfFound(const std::vector<Job>& jobs, const std::vector<bool>& found) {
    Runloop::assertMain();
    m_isLookingForBundles = false;
    const auto next = m_clock.now() + std::chrono::duration_cast<TimePoint::duration>(m_delay);
    for (std::size_t i = 0; i < jobs.size(); ++i) {
        if (!found[i])
            jobs[i]->nextScheduledRun = next;
        else if (!m_isStopped && m_remoteFiles.content().contains(*jobs[i]))
            retry(jobs[i]);
    }
}

void Retries::retry(const Job& job) {
    Log::verbose("Scheduler will retry. This is attempt {}", job->attemptNumber + 1);
    const auto fresh = m_reload(job);
    if (!fresh) {
        Log::error("Error while trying to reload: {}", fresh.error().description);
        return;
    }
    (*fresh)->attemptNumber = job->attemptNumber;
    (*fresh)->fruitlessAttempts = job->fruitlessAttempts;
    noteBytes(**fresh, rf_state_initializing, (*fresh)->currentState()); // it may have failed at once
}

} // namespace tarvo
