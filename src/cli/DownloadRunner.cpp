#include "cli/DownloadRunner.h"

#include "base/Localized.h"
#include "base/Runloop.h"
#include "cli/GivenCredentials.h"
#include "cli/RetryRule.h"
#include "cli/TargetJobs.h"
#include "jobs/TRFileHash.h"

#include <atomic>

#include <spdlog/fmt/fmt.h>

namespace tarvo {

namespace {

constexpr int kProgressIntervalMs = 100;

} // namespace

/// Lets an interrupt end the hashing of a large file at once.
class DownloadRunner::HashingWatch final : public TRFileHashDelegate {
public:
    bool update(TRFileHash&, std::int64_t, std::int64_t) override { return !cancelled; }

    std::atomic<bool> cancelled{false};
};

DownloadRunner::DownloadRunner(const Options& options, const JobEnvironment& environment,
                               AuthenticationManager& credentials, ProgressView& view, Seconds retryDelay)
    : m_options(options), m_environment(environment), m_credentials(credentials), m_view(view),
      m_retryDelay(retryDelay), m_queue({.jobs = environment,
                                         .notifications = m_notifications,
                                         .authManager = credentials,
                                         .pages = *this,
                                         .alerts = *this,
                                         .retryDelay = retryDelay}) {
    auto& files = m_queue.remoteFiles();
    connect(&files, &RemoteFilesArrayController::jobStateChanged, this, &DownloadRunner::stateChanged);
    connect(&files, &RemoteFilesArrayController::jobReplaced, this, [this](const Job& old, const Job& fresh) {
        if (auto known = m_downloads.extract(old.get())) {
            known.key() = fresh.get();
            m_downloads.insert(std::move(known));
        }
    });
    connect(&m_queue, &QueueController::preparationEnded, this, [this](const Job& job) {
        if (job->currentState() == rf_state_failed)
            handleFailure(job);
    });
    connect(&m_queue, &QueueController::suspended, this, [this](const Job& job, bool saved) {
        if (const auto known = m_downloads.find(job.get());
            known != m_downloads.end() && known->second.announced)
            m_counts.bytes += job->totalBytesDownloaded() - known->second.bytesBefore;
        if (!saved || !job->supportsRecovery())
            return;
        ++m_savedBundles;
        m_savedBundle = job->activeFile().value_or("");
    });
    connect(&m_queue, &QueueController::ended, this, [this] {
        tellEnd();
        const int status = m_counts.failed > 0 ? kSomeFailed : kAllFinished;
        Q_EMIT ended(m_interrupted ? kInterrupted : status);
    });
    m_progressTimer.setInterval(kProgressIntervalMs);
    connect(&m_progressTimer, &QTimer::timeout, this, &DownloadRunner::showProgress);
}

DownloadRunner::~DownloadRunner() = default;

void DownloadRunner::start() {
    Runloop::assertMain();
    m_begin = m_environment.clock.now();
    m_counts.total = m_options.targets.size() + m_options.badLines.size();
    m_counts.failed = m_options.badLines.size();
    for (const auto& line : m_options.badLines) {
        m_view.refused(line);
        m_summary.failures.emplace_back(line.text, line.reason);
    }
    for (const auto& target : m_options.targets)
        addTarget(target);
    m_progressTimer.start();
    if (m_downloads.empty())
        m_queue.quit();
    else
        m_queue.toggleAutorun();
}

void DownloadRunner::addTarget(const Target& target) {
    const Job job = jobFor(target, m_options, m_environment);
    m_downloads[job.get()].retriesLeft = m_options.retries;
    if (const auto failed = job->error()) { // a bundle that can't be read
        reportFailed(job, *failed);
        return;
    }
    if (const auto url = job->url();
        url && m_knownServices.insert(AuthenticationManager::getServiceNameFromURL(*url)).second)
        rememberGiven(m_options, *url, m_credentials);
    if (m_queue.remoteFiles().addRemoteFile(job))
        return;
    m_view.notice(localized("tr.get.named-twice", {snapshotOf(*job).url}));
    m_counts.total -= 1;
    m_downloads.erase(job.get());
}

void DownloadRunner::stateChanged(const Job& job, rf_state_t oldState, rf_state_t newState) {
    Runloop::assertMain();
    const auto known = m_downloads.find(job.get());
    if (known == m_downloads.end() || m_interrupted)
        return;
    Download& download = known->second;
    const TimePoint now = m_environment.clock.now();
    if (newState == rf_state_preparing) {
        download.startedAt = now;
        download.preparation = Seconds(0);
        download.lastFailure.reset();
        if (m_queue.remoteFiles().activeJobs() == 0)
            m_view.connecting(snapshotOf(*job));
    } else if (newState == rf_state_ready) {
        download.preparation = now - download.startedAt;
    } else if (newState == rf_state_running) {
        download.startedAt = now;
        if (!std::exchange(download.announced, true)) {
            download.bytesBefore = job->totalBytesDownloaded();
            m_view.started(snapshotOf(*job));
        }
    } else if (newState == rf_state_succeeded) {
        // The job itself has not finished with this change.
        download.wasThere = oldState == rf_state_preparing;
        Runloop::runOnNextTurn([this, job] {
            if (m_interrupted)
                return;
            const bool hasChecksum = job->expectedChecksum().has_value();
            const bool isCompared = m_environment.checksumDecides && !m_downloads.at(job.get()).wasThere;
            if (hasChecksum && !isCompared)
                verifyChecksum(job);
            else
                reportFinished(job, hasChecksum);
        });
    } else if (newState == rf_state_failed && oldState != rf_state_preparing) {
        Runloop::runOnNextTurn([this, job] { handleFailure(job); });
    }
}

void DownloadRunner::handleFailure(const Job& job) {
    Runloop::assertMain();
    const auto known = m_downloads.find(job.get());
    if (known == m_downloads.end() || m_interrupted)
        return;
    const Error error = job->error().value_or(Error{});
    const bool usesUp = usesUpRetry(*job, known->second.most, *m_environment.transfers.hostConnections);
    known->second.most = std::max(known->second.most, job->totalBytesDownloaded());
    if ((usesUp && known->second.retriesLeft <= 0) || !job->isRetryable()) {
        reportFailed(job, error);
        return;
    }
    known->second.lastFailure = error;
    m_view.retrying(snapshotOf(*job), error, retryDelayOf(*job, m_retryDelay), known->second.retriesLeft);
    if (usesUp)
        --known->second.retriesLeft;
}

/// Of a file that was there; what is fetched is compared before it gets its name.
void DownloadRunner::verifyChecksum(const Job& job) {
    const std::string path = job->finalFilePath().value_or("");
    m_hashing = std::make_shared<HashingWatch>();
    m_hashingQueue.async([this, job, path, wanted = *job->expectedChecksum(), watch = m_hashing] {
        const auto digest = digestOf(path, wanted.algorithm, watch);
        Runloop::runOnMainLater([this, job, path, wanted, digest] {
            if (m_interrupted)
                return;
            m_hashing.reset();
            if (digest == wanted.digest)
                reportFinished(job, true);
            else
                reportFailed(job, wrongChecksum(path, digest, wanted));
        });
    });
}

void DownloadRunner::reportFinished(const Job& job, bool checksumMatched) {
    ++m_counts.finished;
    const Download& download = m_downloads.at(job.get());
    const Seconds took = download.preparation + (m_environment.clock.now() - download.startedAt);
    const DownloadResult result{job->finalFilePath().value_or(""), job->totalBytesDownloaded(), took,
                                checksumMatched,
                                download.wasThere ? 0 : job->totalBytesDownloaded() - download.bytesBefore};
    m_counts.bytes += result.fetched;
    m_summary.present += download.wasThere ? 1 : 0;
    if (download.wasThere)
        m_view.present(snapshotOf(*job), result);
    else
        m_view.finished(snapshotOf(*job), result);
    settle(job);
}

void DownloadRunner::reportFailed(const Job& job, const Error& error) {
    ++m_counts.failed;
    const DownloadSnapshot snapshot = snapshotOf(*job);
    m_summary.failures.emplace_back(snapshot.url, error);
    m_view.failed(snapshot, error);
    settle(job);
}

/// The download has ended, one way or the other: nothing of it stays in the queue.
void DownloadRunner::settle(const Job& job) {
    m_downloads.erase(job.get());
    if (m_queue.remoteFiles().content().contains(*job))
        m_queue.remoteFiles().removeRemoteFile(job);
    if (m_downloads.empty())
        m_queue.quit();
}

void DownloadRunner::interrupt() {
    Runloop::assertMain();
    if (std::exchange(m_interrupted, true))
        return;
    m_progressTimer.stop();
    if (m_hashing) {
        m_hashing->cancelled = true;
        m_view.notice(localized("tr.get.interrupted-whole"));
    }
    m_queue.quit();
}

void DownloadRunner::showProgress() {
    Runloop::assertMain();
    std::vector<DownloadSnapshot> running;
    m_queue.remoteFiles().content().forEachIn({rf_state_running, rf_state_paused}, [&](const Job& job) {
        running.push_back(snapshotOf(*job));
        return true;
    });
    const auto others = waiting();
    m_view.waiting(others);
    if (!running.empty() || !others.empty())
        m_view.progress(running, m_counts, m_environment.clock.now());
}

std::vector<Waiting> DownloadRunner::waiting() {
    std::vector<Waiting> others;
    const TimePoint now = m_environment.clock.now();
    m_queue.remoteFiles().content().forEachIn({rf_state_failed}, [&](const Job& job) {
        const auto known = m_downloads.find(job.get());
        if (known != m_downloads.end() && known->second.lastFailure)
            others.push_back({job->fileName(),
                              job->nextScheduledRun ? Seconds(*job->nextScheduledRun - now) : m_retryDelay,
                              known->second.lastFailure->sentence()});
        return true;
    });
    return others;
}

/// One sentence about what was interrupted, however much that was.
void DownloadRunner::tellEnd() {
    if (m_interrupted && !(m_hashing && m_savedBundles == 0))
        m_view.interrupted(m_savedBundles, m_savedBundle);
    m_summary.counts = m_counts;
    m_summary.isInterrupted = m_interrupted;
    m_summary.took = m_environment.clock.now() - m_begin;
    m_view.ended(m_summary);
}

void DownloadRunner::presentError(const Error& error) {
    Runloop::assertMain();
    m_view.notice(error.sentence());
}

} // namespace tarvo
