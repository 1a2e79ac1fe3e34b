// What all jobs share: the state machine, failing once, the speed and the values shown.
#pragma once

#include <condition_variable>
#include <mutex>

#include <QTimer>

#include "jobs/JobEnvironment.h"
#include "jobs/RemoteFile.h"
#include "jobs/Speedometer.h"

namespace tarvo {

/// Every read and write of the state happens on the main thread; what a worker does to a job goes
/// through onMain(). Subclasses supply the two primitive steps, which run on a worker.
class RemoteFileBase : public RemoteFile, private SpeedometerDelegate {
    Q_OBJECT

public:
    ~RemoteFileBase() override;

    rf_state_t currentState() const override { return m_currentState; }

    std::optional<Url> url() const override { return m_url; }

    std::int64_t fileSize() const override { return m_fileSize; }

    double percentComplete() const override;
    std::int64_t bytesPerSecond() const override;
    std::vector<std::int64_t> recentSpeeds() const override;
    double secondsRemaining() const override;

    const std::optional<Error>& error() const override { return m_error; }

    std::optional<TimePoint> errorDate() const override { return m_errorDate; }

    std::optional<WallTime> addedDate() const override { return m_addedDate; }

    std::optional<WallTime> finishedDate() const override { return m_finishedDate; }

    std::string fileName() const override;
    void setOverridenFileName(const std::string& name) override;

    bool supportsControl() const override { return true; }

    bool supportsMultipartDownloads() const override { return m_supportsMultipartDownloads; }

    bool supportsRenaming() const override { return false; }

    bool recoveredSession() const override { return false; }

    Result<void> moveFiles(const std::string& /*name*/) override { return {}; }

    Result<void> makeReadyAndBlock(std::shared_ptr<const TRAuthToken> auth) override;
    bool downloadAndBlock() override;
    bool resumeOrStart(WorkQueue& queue) override;
    bool pause() override;
    bool resume() override;
    bool stop() override;

    /// The first failure wins; a stopped job stays stopped. Any thread.
    void failWithError(const Error& error);

protected:
    explicit RemoteFileBase(const JobEnvironment& environment);

    /// Owns `job` in a pointer that destroys it on the main thread, wherever the last one is dropped.
    template <class Job>
    static std::shared_ptr<Job> shared(Job* job) {
        return std::shared_ptr<Job>(job, [](Job* last) { destroyOnMain(last); });
    }

    /// Runs `block` on the main thread and waits; false when the program is quitting.
    static bool onMain(const std::function<void()>& block);

    /// What a step has come to.
    struct StepEnd {
        Result<void> result{};
        /// What the job takes over of it, on the main thread, on the same visit there as the change of state:
        /// a visit costs as much as a request to a server. Also after a failure, and for a job that was
        /// stopped meanwhile.
        std::function<void()> takeOver = [] {};
    };

    /// Before rf_state_preparing, on the same visit to the main thread: what doMakeReady() needs from there.
    virtual void aboutToMakeReady(const std::shared_ptr<const TRAuthToken>& /*auth*/) {}

    /// Learns what is to be downloaded and prepares storage. On a worker.
    virtual StepEnd doMakeReady(std::shared_ptr<const TRAuthToken> auth) = 0;

    /// Returns when the transfer has ended and the file is finished. On a worker.
    virtual StepEnd doDownload() = 0;

    /// Whether neither a worker nor a paused transfer uses the job's files.
    bool isAtRest() const;

    /// Returns once no worker is inside one of the two steps, which end by themselves or by stop(). On a
    /// worker.
    void waitForSteps();

    /// Whether a transfer that receives nothing for too long is better tried again than waited for.
    virtual bool failsWhenStalled() const { return isRetryable(); }

    /// Before any observer hears of the new state: the moment to refuse what must not happen in it.
    virtual void aboutToEnter(rf_state_t /*state*/) {}

    /// Main thread. Nothing leaves rf_state_stopped.
    void setCurrentState(rf_state_t state);
    void setFileSize(std::int64_t size);

    void setAddedDate(const std::optional<WallTime>& date) { m_addedDate = date; }

    void setSuggestedFileName(const std::string& name);
    void clearError();

    bool isActive() const { return m_currentState == rf_state_running || m_currentState == rf_state_paused; }

    const std::optional<std::string>& suggestedFileName() const { return m_suggestedFileName; }

    const std::optional<std::string>& overridenFileName() const { return m_overridenFileName; }

    Speedometer& speedometer() { return m_speedometer; }

    const JobEnvironment& environment() const { return m_environment; }

    std::optional<Url> m_url;
    bool m_supportsMultipartDownloads = false;

private:
    class InsideStep;

    static void destroyOnMain(RemoteFile* job);
    void speedometerDetectedTimeout(Speedometer& speedometer, Seconds silence) override;
    void measureIn(rf_state_t state);

    const JobEnvironment& m_environment;
    rf_state_t m_currentState = rf_state_initializing;
    std::int64_t m_fileSize = 0;
    std::optional<std::string> m_suggestedFileName;
    std::optional<std::string> m_overridenFileName;
    std::optional<Error> m_error;
    std::optional<TimePoint> m_errorDate;
    std::optional<WallTime> m_addedDate;
    std::optional<WallTime> m_finishedDate;
    Speedometer m_speedometer;
    QTimer m_speedometerTimer;
    std::mutex m_stepsMutex;
    std::condition_variable m_stepEnded;
    int m_steps = 0; // that a worker is in; under the mutex
};

} // namespace tarvo
