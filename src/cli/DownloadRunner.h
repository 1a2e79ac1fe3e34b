// Runs the command line's downloads one after another: prepares, starts, retries, checks, tells.
#pragma once

#include <deque>
#include <functional>
#include <memory>

#include <QObject>
#include <QTimer>

#include "base/SerialQueue.h"
#include "base/WorkQueue.h"
#include "cli/Options.h"
#include "cli/ProgressView.h"
#include "jobs/AuthenticationManager.h"
#include "jobs/CURLRemoteFile.h"

namespace tarvo {

/// Main thread. Preparations run on a serial queue, transfers each on a thread of its own.
class DownloadRunner : public QObject {
    Q_OBJECT

public:
    static constexpr int kAllFinished = 0;
    static constexpr int kSomeFailed = 1;
    static constexpr int kInterrupted = 130;

    /// `retryDelay` is the time between a failure and the next attempt.
    DownloadRunner(const Options& options, const JobEnvironment& environment,
                   AuthenticationManager& credentials, ProgressView& view, Seconds retryDelay);
    ~DownloadRunner() override;

    /// Begins with the first download.
    void start();

    /// Suspends the transfer at once, saves its progress and ends.
    void interrupt();

Q_SIGNALS:
    /// Everything has ended and no worker is left; `status` is the exit status.
    void ended(int status);

private:
    void startNext();
    void rememberCredentials();
    void prepare();
    Result<void> makeReadyAskingForCredentials(const std::shared_ptr<CURLRemoteFile>& job);
    void prepared(const Result<void>& result);
    void transferEnded();
    void handleFailure();
    void retry();
    void finishCurrent();
    void verifyChecksum();
    void reportFinished(bool checksumMatched);
    void reportFailed(const Error& error);
    void saveAllProgress();
    void endWhenIdle(int status);
    DownloadSnapshot snapshot() const;

    const Options& m_options;
    const JobEnvironment& m_environment;
    AuthenticationManager& m_credentials;
    ProgressView& m_view;
    const Seconds m_retryDelay;

    class HashingWatch;

    std::deque<Target> m_waiting;
    std::shared_ptr<CURLRemoteFile> m_job; // the one at work
    std::int64_t m_retriesLeft = 0;
    TimePoint m_startedAt{};
    bool m_announced = false;
    bool m_interrupted = false;
    bool m_ending = false;
    int m_status = kAllFinished;
    std::shared_ptr<HashingWatch> m_hashing; // while a finished file is compared with its checksum

    QTimer m_progressTimer;
    QTimer m_saveTimer;
    QTimer m_retryTimer;
    QTimer m_idleTimer;

    // Last, so that they end first: their tasks use what stands above.
    WorkQueue m_transfers;
    SerialQueue m_readyingQueue{"com.unregistered.tarvo2.readyingQueue"};
    SerialQueue m_fileSavingQueue{"com.unregistered.tarvo2.fileSavingQueue"};
    SerialQueue m_hashingQueue{"com.unregistered.tarvo2.hashingQueue"};
};

} // namespace tarvo
