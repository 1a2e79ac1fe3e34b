// tarvo-get -o -: one address to standard output.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <set>

#include <QObject>
#include <QTimer>

#include "base/WorkQueue.h"
#include "cli/DescriptorSink.h"
#include "cli/Options.h"
#include "cli/ProgressView.h"
#include "engine/transfer/SpeedWindow.h"
#include "jobs/AuthenticationManager.h"
#include "jobs/StreamTransfer.h"

namespace tarvo {

/// In order, over one connection, without a bundle. Main thread; the bytes go a way of their own, on a
/// worker.
class OutputRunner : public QObject {
    Q_OBJECT

public:
    /// All outlive it. `retryDelay` is the time between a failure and the next attempt.
    OutputRunner(const Options& options, const JobEnvironment& environment,
                 AuthenticationManager& credentials, ProgressView& view, Seconds retryDelay, int descriptor);
    ~OutputRunner() override;

    void start();

    /// Ends the transfer at once; what was written stays.
    void interrupt();

Q_SIGNALS:
    /// Everything has ended; `status` is the exit status.
    void ended(int status);

private:
    class Digest;

    /// What the worker and the main thread both look at.
    struct Shared {
        std::shared_ptr<DownloadProbe> probe;
        std::shared_ptr<StreamTransfer> transfer;
        bool isStopped = false;
    };

    void work();
    Result<void> attempt();
    Result<ProbeAnswers> findSource();
    bool findCredentials(const Url& asking);
    Result<void> take(std::span<const char> data);
    bool waitForNextAttempt(const Error& cause, std::int64_t left);
    void showProgress();
    void finish(const std::optional<Error>& problem);
    DownloadSnapshot snapshot();

    const Options& m_options;
    const JobEnvironment& m_environment;
    AuthenticationManager& m_credentials;
    ProgressView& m_view;
    const Seconds m_retryDelay;
    const Url m_url;
    const TimePoint m_begin;

    DescriptorSink m_sink;
    std::unique_ptr<Digest> m_digest; // the worker's
    AuthTokens m_tokens;              // the worker's
    std::set<std::string> m_tried;    // the worker's: services whose known credentials have been

    DownloadSnapshot m_shown; // the main thread's, as all below
    SpeedWindow m_speed;
    QTimer m_timer;

    std::mutex m_mutex; // guards what follows
    std::condition_variable m_changed;
    Shared m_shared;

    WorkQueue m_worker; // last, so that it ends first
};

} // namespace tarvo
