// Runs the command line's downloads on a queue of its own: hands them in, counts attempts, checks, tells.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <unordered_map>

#include <QObject>
#include <QTimer>

#include "base/SerialQueue.h"
#include "cli/Options.h"
#include "cli/ProgressView.h"
#include "queue/QueueController.h"

namespace tarvo {

/// Main thread. The queue lives in memory only. Order, places and the time between attempts are the
/// queue's; how many attempts there are is decided here.
class DownloadRunner : public QObject, private PageOpener, private AlertPresenter {
    Q_OBJECT

public:
    static constexpr int kAllFinished = 0;
    static constexpr int kSomeFailed = 1;
    static constexpr int kInterrupted = 130;

    /// `retryDelay` is the time between a failure and the next attempt.
    DownloadRunner(const Options& options, const JobEnvironment& environment,
                   AuthenticationManager& credentials, ProgressView& view, Seconds retryDelay);
    ~DownloadRunner() override;

    /// Hands all downloads to the queue and starts it.
    void start();

    /// Suspends the transfers at once, saves their progress and ends.
    void interrupt();

Q_SIGNALS:
    /// Everything has ended and no worker is left; `status` is the exit status.
    void ended(int status);

private:
    using Job = std::shared_ptr<RemoteFile>;
    class HashingWatch;

    /// What has to be known of a download from its first attempt to its end.
    struct Download {
        std::int64_t retriesLeft = 0;
        std::int64_t most = 0;              ///< bytes that there have ever been
        TimePoint startedAt{};              ///< the preparation, then the transfer: not what lies between
        Seconds preparation{0};             ///< how long it took
        std::optional<Error> lastFailure{}; ///< while it waits for the next attempt
        std::int64_t bytesBefore = 0;       ///< what earlier runs have brought
        bool announced = false;
        bool wasThere = false; ///< the preparation has found the file complete
    };

    void addTarget(const Target& target);
    void stateChanged(const Job& job, rf_state_t oldState, rf_state_t newState);
    void handleFailure(const Job& job);
    void verifyChecksum(const Job& job);
    void reportFinished(const Job& job, bool checksumMatched);
    void reportFailed(const Job& job, const Error& error);
    void settle(const Job& job);
    void showProgress();
    std::vector<Waiting> waiting();
    void tellEnd();

    /// A page stays a failure: there is no browser to follow it with.
    BrowserEndReason openBrowserFor(const Job&, Job&) override { return BrowserEndReason::cancelled; }

    void closePages() override {}

    void presentError(const Error& error) override;

    /// Never asked here; the last button is the one that changes nothing.
    std::size_t runAlert(const std::string&, const std::string&,
                         const std::vector<std::string>& buttons) override {
        return buttons.size() - 1;
    }

    const Options& m_options;
    const JobEnvironment& m_environment;
    AuthenticationManager& m_credentials;
    ProgressView& m_view;
    const Seconds m_retryDelay;

    std::unordered_map<const RemoteFile*, Download> m_downloads; // those that have not ended
    std::set<std::string> m_knownServices;                       // whose credentials are remembered
    QueueCounts m_counts;
    RunSummary m_summary; // what is not in the counts yet
    TimePoint m_begin{};
    bool m_interrupted = false;
    std::size_t m_savedBundles = 0;
    std::string m_savedBundle;               // one of them
    std::shared_ptr<HashingWatch> m_hashing; // while a file that was there is compared with its checksum
    QTimer m_progressTimer;
    NotificationCenter m_notifications;

    // Last, so that they end first: their tasks use what stands above.
    QueueController m_queue;
    SerialQueue m_hashingQueue{"com.unregistered.tarvo2.hashingQueue"};
};

} // namespace tarvo
