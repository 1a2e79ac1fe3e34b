#include "jobs/RemoteFileBase.h"

#include "base/FileName.h"
#include "base/Log.h"
#include "base/Runloop.h"
#include "jobs/JobErrors.h"
#include "storage/ProgressBundle.h"

namespace tarvo {

namespace {

constexpr std::size_t kSpeedHistory = 10;
constexpr int kFlushIntervalMs = 500;

} // namespace

/// From the first to the last that a worker does for a step, its visits to the main thread included.
class RemoteFileBase::InsideStep {
public:
    explicit InsideStep(RemoteFileBase& job) : m_job(job) {
        std::lock_guard lock(m_job.m_stepsMutex);
        ++m_job.m_steps;
    }

    ~InsideStep() {
        std::lock_guard lock(m_job.m_stepsMutex);
        --m_job.m_steps;
        m_job.m_stepEnded.notify_all();
    }

    InsideStep(const InsideStep&) = delete;
    InsideStep& operator=(const InsideStep&) = delete;

private:
    RemoteFileBase& m_job;
};

void RemoteFileBase::waitForSteps() {
    std::unique_lock lock(m_stepsMutex);
    m_stepEnded.wait(lock, [this] { return m_steps == 0; });
}

RemoteFileBase::RemoteFileBase(const JobEnvironment& environment)
    : m_environment(environment),
      m_speedometer(kSpeedHistory, environment.stallTimeout, this, environment.clock.now()) {
    m_speedometerTimer.setInterval(kFlushIntervalMs);
    QObject::connect(&m_speedometerTimer, &QTimer::timeout, this,
                     [this] { m_speedometer.flushSpeedBuffer(m_environment.clock.now()); });
}

RemoteFileBase::~RemoteFileBase() {
    Log::debug("And now his watch is ended: RemoteFile is being deallocated");
}

void RemoteFileBase::destroyOnMain(RemoteFile* job) {
    Runloop::runOnMainLater([job] { delete job; });
}

bool RemoteFileBase::onMain(const std::function<void()>& block) {
    return Runloop::runOnMainAndWait(block);
}

void RemoteFileBase::setCurrentState(rf_state_t state) {
    Runloop::assertMain();
    const rf_state_t old = m_currentState;
    if (state == old || old == rf_state_stopped)
        return;
    aboutToEnter(state);
    m_currentState = state;
    if (state == rf_state_succeeded)
        m_finishedDate = m_environment.clock.wallNow();
    Q_EMIT currentStateChanged(old, state);
    measureIn(state);
}

void RemoteFileBase::measureIn(rf_state_t state) {
    if (state == rf_state_running) {
        m_speedometer.startRecording(m_environment.clock.now());
        m_speedometerTimer.start();
    } else if (state >= rf_state_paused) {
        m_speedometer.stopRecording();
        m_speedometerTimer.stop();
    }
}

Result<void> RemoteFileBase::makeReadyAndBlock(std::shared_ptr<const TRAuthToken> auth) {
    const InsideStep here(*this);
    bool allowed = false;
    onMain([&] {
        allowed = m_currentState == rf_state_initializing || m_currentState == rf_state_failed;
        if (!allowed)
            return;
        clearError();
        aboutToMakeReady(auth);
        setCurrentState(rf_state_preparing);
    });
    if (!allowed)
        return failure(illegalState());
    StepEnd end = doMakeReady(std::move(auth));
    const bool isComplete =
        !end.result && end.result.error().is(ErrorDomain::RemoteFile, kRemoteFileAlreadyComplete);
    bool entered = false;
    onMain([&] {
        end.takeOver();
        if (!end.result && !isComplete)
            return failWithError(end.result.error());
        setCurrentState(isComplete ? rf_state_succeeded : rf_state_ready);
        entered = m_currentState != rf_state_stopped;
    });
    if (entered)
        return {};
    return end.result || isComplete ? failure(Error::alreadyStopped()) : end.result;
}

bool RemoteFileBase::downloadAndBlock() {
    const InsideStep here(*this);
    bool allowed = false;
    onMain([&] {
        allowed = m_currentState == rf_state_ready;
        if (allowed)
            setCurrentState(rf_state_running);
    });
    if (!allowed)
        return false;
    StepEnd end = doDownload();
    onMain([&] {
        end.takeOver();
        if (!end.result)
            return failWithError(end.result.error());
        setCurrentState(rf_state_succeeded);
    });
    return end.result.has_value();
}

bool RemoteFileBase::resumeOrStart(WorkQueue& queue) {
    Runloop::assertMain();
    if (m_currentState == rf_state_paused)
        return resume();
    if (m_currentState != rf_state_ready)
        return false;
    queue.async([job = shared_from_this()] { job->downloadAndBlock(); });
    return true;
}

bool RemoteFileBase::pause() {
    Runloop::assertMain();
    if (m_currentState != rf_state_running)
        return false;
    setCurrentState(rf_state_paused);
    return true;
}

bool RemoteFileBase::resume() {
    Runloop::assertMain();
    if (m_currentState != rf_state_paused)
        return false;
    setCurrentState(rf_state_running);
    return true;
}

bool RemoteFileBase::stop() {
    Runloop::assertMain();
    if (m_currentState == rf_state_stopped)
        return false;
    setCurrentState(rf_state_stopped);
    return true;
}

void RemoteFileBase::failWithError(const Error& error) {
    onMain([&] {
        if (m_currentState == rf_state_failed || m_currentState == rf_state_stopped) {
            Log::error("RF already failed, can't fail twice. Old: {} New: {}",
                       m_error ? m_error->sentence() : "none", error.sentence());
            return;
        }
        Log::warning("RemoteFile failed with error: {}", error.sentence());
        m_error = error;
        m_errorDate = m_environment.clock.now();
        setCurrentState(rf_state_failed);
    });
}

void RemoteFileBase::speedometerDetectedTimeout(Speedometer&, Seconds) {
    if (m_error || !failsWhenStalled())
        return;
    Log::warning("No bytes sent in awhile, speedometer will fail this download so it can restart: {}",
                 url() ? url()->withoutPassword() : identity());
    failWithError(Error::localized(ErrorDomain::Tarvo, kTarvoSchedulerTimeout, "tr.err.scheduler-timeout"));
}

double RemoteFileBase::percentComplete() const {
    if (fileSize() < 1)
        return -1.0;
    return static_cast<double>(totalBytesDownloaded()) * 100.0 / static_cast<double>(fileSize());
}

double RemoteFileBase::secondsRemaining() const {
    return static_cast<double>(fileSize() - totalBytesDownloaded()) /
           static_cast<double>(bytesPerSecond() + 1);
}

std::int64_t RemoteFileBase::bytesPerSecond() const {
    return m_speedometer.bytesPerSecond();
}

std::vector<std::int64_t> RemoteFileBase::recentSpeeds() const {
    return {m_speedometer.speedHistory().begin(), m_speedometer.speedHistory().end()};
}

std::string RemoteFileBase::fileName() const {
    return cleanFileName(m_overridenFileName ? m_overridenFileName : m_suggestedFileName,
                         ProgressBundle::kExtension);
}

void RemoteFileBase::setOverridenFileName(const std::string& name) {
    Runloop::assertMain();
    m_overridenFileName = name;
    Q_EMIT fileNameChanged();
}

bool RemoteFileBase::isAtRest() const {
    return m_currentState == rf_state_initializing || m_currentState == rf_state_ready ||
           m_currentState == rf_state_failed;
}

void RemoteFileBase::setSuggestedFileName(const std::string& name) {
    Runloop::assertMain();
    m_suggestedFileName = name;
    Q_EMIT fileNameChanged();
}

void RemoteFileBase::setFileSize(std::int64_t size) {
    Runloop::assertMain();
    m_fileSize = size;
    Q_EMIT fileSizeChanged();
}

void RemoteFileBase::clearError() {
    Runloop::assertMain();
    m_error.reset();
}

} // namespace tarvo
