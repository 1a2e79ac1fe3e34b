#include "cli/DownloadRunner.h"

#include "base/Log.h"
#include "base/Runloop.h"
#include "jobs/TRFileHash.h"

#include <atomic>

#include <QUrl>

namespace tarvo {

namespace {

constexpr int kProgressIntervalMs = 100;
constexpr int kSaveIntervalMs = 10'000;
constexpr int kIdleCheckMs = 5;

std::optional<std::string> digestOf(const std::string& path, Checksum::Algorithm algorithm,
                                    const std::weak_ptr<TRFileHashDelegate>& watch) {
    TRFileHash hash(path, watch);
    switch (algorithm) {
    case Checksum::Algorithm::md5:
        return hash.computeMD5();
    case Checksum::Algorithm::sha1:
        return hash.computeSHA1();
    case Checksum::Algorithm::sha256:
        break;
    }
    return hash.computeSHA256();
}

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
      m_retryDelay(retryDelay), m_waiting(options.targets.begin(), options.targets.end()) {
    m_progressTimer.setInterval(kProgressIntervalMs);
    m_saveTimer.setInterval(kSaveIntervalMs);
    m_idleTimer.setInterval(kIdleCheckMs);
    m_retryTimer.setSingleShot(true);
    connect(&m_progressTimer, &QTimer::timeout, this,
            [this] { m_view.progress(snapshot(), m_environment.clock.now()); });
    connect(&m_saveTimer, &QTimer::timeout, this, &DownloadRunner::saveAllProgress);
    connect(&m_retryTimer, &QTimer::timeout, this, &DownloadRunner::retry);
    connect(&m_idleTimer, &QTimer::timeout, this, [this] { endWhenIdle(m_status); });
}

DownloadRunner::~DownloadRunner() = default;

void DownloadRunner::start() {
    startNext();
}

void DownloadRunner::startNext() {
    m_job.reset();
    if (m_waiting.empty() || m_interrupted) {
        endWhenIdle(m_interrupted ? kInterrupted : m_status);
        return;
    }
    const Target target = m_waiting.front();
    m_waiting.pop_front();
    m_retriesLeft = m_options.retries;
    m_announced = false;
    if (target.url) {
        m_job =
            CURLRemoteFile::create(*target.url, m_options.connections, m_options.directory, m_environment);
        m_job->setReferer(m_options.referer);
        if (m_options.outputName)
            m_job->setOverridenFileName(*m_options.outputName);
    } else {
        m_job = CURLRemoteFile::fromBundleFile(target.bundle, m_environment);
    }
    if (m_job->currentState() == rf_state_failed) {
        reportFailed(*m_job->error());
        return;
    }
    rememberCredentials();
    prepare();
}

void DownloadRunner::rememberCredentials() {
    const auto url = m_job->url();
    if (!m_options.userName || !url)
        return;
    std::string password = m_options.password.value_or("");
    if (!m_options.password) { // the keyring may know the one of this user
        QUrl account(QString::fromStdString(url->absoluteString()));
        account.setUserName(QString::fromStdString(*m_options.userName), QUrl::DecodedMode);
        account.setPassword(QString());
        const auto named = Url::parse(account.toEncoded().toStdString());
        if (const auto known = named ? m_credentials.getCredentialsForURL(*named) : nullptr)
            password = known->password();
    }
    m_credentials.cacheResultForService(AuthenticationManager::getServiceNameFromURL(*url),
                                        *m_options.userName, password);
}

void DownloadRunner::prepare() {
    m_startedAt = m_environment.clock.now();
    m_view.connecting(snapshot());
    m_readyingQueue.async([this, job = m_job] {
        const auto result = makeReadyAskingForCredentials(job);
        Runloop::runOnMainLater([this, result] { prepared(result); });
    });
}

Result<void> DownloadRunner::makeReadyAskingForCredentials(const std::shared_ptr<CURLRemoteFile>& job) {
    std::optional<Url> url;
    Runloop::runOnMainAndWait([&] { url = job->url(); });
    if (!url) // the program is quitting
        return failure(
            Error::localized(ErrorDomain::RemoteFile, kRemoteFileIllegalState, "tr.err.illegal-state"));
    while (true) {
        auto ready = job->makeReadyAndBlock(m_credentials.getCredentialsForURL(*url));
        if (ready || !ready.error().is(ErrorDomain::RemoteFile, kRemoteFileAuthenticationErrorCode))
            return ready;
        bool answered = false;
        Runloop::runOnMainAndWait(
            [&] { answered = !m_interrupted && m_credentials.promptUserForCredentialsForURL(*url); });
        if (!answered)
            return ready;
    }
}

void DownloadRunner::prepared(const Result<void>& result) {
    if (m_interrupted || !m_job)
        return;
    if (!result) {
        handleFailure();
        return;
    }
    connect(m_job.get(), &RemoteFile::currentStateChanged, this, [this](rf_state_t, rf_state_t state) {
        if (state == rf_state_succeeded || state == rf_state_failed)
            Runloop::runOnNextTurn([this] { transferEnded(); });
    });
    if (!std::exchange(m_announced, true))
        m_view.started(snapshot());
    m_progressTimer.start();
    m_saveTimer.start();
    m_job->attemptNumber += 1;
    if (!m_job->resumeOrStart(m_transfers)) // it was found complete
        transferEnded();
}

void DownloadRunner::transferEnded() {
    m_progressTimer.stop();
    m_saveTimer.stop();
    if (m_interrupted || !m_job)
        return;
    if (m_job->currentState() == rf_state_succeeded)
        finishCurrent();
    else
        handleFailure();
}

void DownloadRunner::handleFailure() {
    const Error error = m_job->error().value_or(Error{});
    if (m_retriesLeft <= 0 || !m_job->isRetryable()) {
        reportFailed(error);
        return;
    }
    m_view.notice(fmt::format("{}: {} Trying again in {:.0f} s ({} left).", snapshot().name, error.sentence(),
                              m_retryDelay.count(), m_retriesLeft));
    --m_retriesLeft;
    m_retryTimer.start(std::chrono::duration_cast<std::chrono::milliseconds>(m_retryDelay));
}

void DownloadRunner::retry() {
    const auto attempts = m_job->attemptNumber;
    m_job = std::static_pointer_cast<CURLRemoteFile>(m_job->copy());
    m_job->attemptNumber = attempts;
    prepare();
}

void DownloadRunner::finishCurrent() {
    if (m_options.checksum)
        verifyChecksum();
    else
        reportFinished(false);
}

void DownloadRunner::verifyChecksum() {
    const std::string path = m_job->finalFilePath().value_or("");
    m_hashing = std::make_shared<HashingWatch>();
    m_hashingQueue.async([this, path, wanted = *m_options.checksum, watch = m_hashing] {
        const auto digest = digestOf(path, wanted.algorithm, watch);
        Runloop::runOnMainLater([this, path, wanted, digest] {
            if (m_interrupted)
                return;
            if (digest == wanted.digest)
                reportFinished(true);
            else
                reportFailed({std::string(ErrorDomain::Tarvo), kTarvoGeneral,
                              fmt::format("The checksum of \"{}\" is {}, not {}.", path,
                                          digest.value_or("unreadable"), wanted.digest),
                              "The file is kept; do not trust it."});
        });
    });
}

void DownloadRunner::reportFinished(bool checksumMatched) {
    m_view.finished(snapshot(), {m_job->finalFilePath().value_or(""), m_job->totalBytesDownloaded(),
                                 m_environment.clock.now() - m_startedAt, checksumMatched});
    startNext();
}

void DownloadRunner::reportFailed(const Error& error) {
    m_view.failed(snapshot(), error);
    m_status = kSomeFailed;
    startNext();
}

void DownloadRunner::saveAllProgress() {
    Log::info("Saving all progress...");
    if (!m_job || m_job->currentState() != rf_state_running)
        return;
    m_fileSavingQueue.async([job = m_job] {
        Log::info("Asynchronously saving rf {}", job->description());
        if (const auto saved = job->saveProgress(); !saved)
            Log::error("Error: {}", saved.error().description);
    });
}

void DownloadRunner::interrupt() {
    if (std::exchange(m_interrupted, true))
        return;
    m_progressTimer.stop();
    m_saveTimer.stop();
    m_retryTimer.stop();
    if (m_hashing) {
        m_hashing->cancelled = true;
        m_view.notice("interrupted; \"" + m_job->finalFilePath().value_or("") +
                      "\" is whole, its checksum has not been compared.");
    }
    if (m_hashing || !m_job) {
        endWhenIdle(kInterrupted);
        return;
    }
    // Suspended first, so that it ends at once however long the disk takes to save.
    m_job->pause();
    m_fileSavingQueue.async([this, job = m_job] {
        const bool saved = job->saveProgress().has_value();
        Runloop::runOnMainLater([this, job, saved] {
            job->stop();
            m_view.notice(saved && job->supportsRecovery()
                              ? "interrupted; progress is saved in \"" + *job->activeFile() +
                                    "\". Run the same command again to continue."
                              : "interrupted.");
            endWhenIdle(kInterrupted);
        });
    });
}

void DownloadRunner::endWhenIdle(int status) {
    m_status = status;
    if (!m_transfers.isIdle() || !m_readyingQueue.isIdle()) {
        m_idleTimer.start();
        return;
    }
    m_idleTimer.stop();
    if (!std::exchange(m_ending, true))
        Q_EMIT ended(m_status);
}

DownloadSnapshot DownloadRunner::snapshot() const {
    const auto url = m_job->url();
    return {url ? url->withoutPassword() : m_job->basePath() + "/" + m_job->fileName(),
            m_job->fileName(),
            m_job->totalBytesDownloaded(),
            m_job->fileSize(),
            m_job->bytesPerSecond(),
            m_job->activeConnections(),
            Seconds(m_job->secondsRemaining())};
}

} // namespace tarvo
