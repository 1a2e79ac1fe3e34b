#include "cli/OutputRunner.h"

#include "base/Localized.h"
#include "base/Readable.h"
#include "base/Runloop.h"
#include "cli/DownloadRunner.h"
#include "cli/GivenCredentials.h"
#include "jobs/JobErrors.h"
#include "jobs/JobOrigin.h"

#include <cerrno>

#include <QCryptographicHash>

namespace tarvo {

namespace {

constexpr int kProgressIntervalMs = 100;

QCryptographicHash::Algorithm algorithmOf(Checksum::Algorithm algorithm) {
    switch (algorithm) {
    case Checksum::Algorithm::md5:
        return QCryptographicHash::Md5;
    case Checksum::Algorithm::sha1:
        return QCryptographicHash::Sha1;
    case Checksum::Algorithm::sha256:
        break;
    case Checksum::Algorithm::sha512:
        return QCryptographicHash::Sha512;
    }
    return QCryptographicHash::Sha256;
}

bool isReaderGone(const std::optional<Error>& problem) {
    return problem && problem->is(ErrorDomain::Posix, EPIPE);
}

/// Whether the next attempt may do better.
bool mayPass(const Error& problem) {
    return canHeal(problem) && problem.domain != ErrorDomain::Posix &&
           !problem.is(ErrorDomain::Tarvo, kTarvoChangedOnServer);
}

} // namespace

/// Of what goes by.
class OutputRunner::Digest {
public:
    explicit Digest(const Checksum& wanted) : m_wanted(wanted), m_hash(algorithmOf(wanted.algorithm)) {}

    void add(std::span<const char> data) {
        m_hash.addData(QByteArrayView(data.data(), static_cast<qsizetype>(data.size())));
    }

    Result<void> check() const {
        const std::string found = m_hash.result().toHex().toStdString();
        return found == m_wanted.digest
                   ? Result<void>()
                   : failure(wrongChecksum("-", found, m_wanted, "tr.err.checksum-written-recovery"));
    }

private:
    const Checksum m_wanted;
    QCryptographicHash m_hash;
};

OutputRunner::OutputRunner(const Options& options, const JobEnvironment& environment,
                           AuthenticationManager& credentials, ProgressView& view, Seconds retryDelay,
                           int descriptor)
    : m_options(options), m_environment(environment), m_credentials(credentials), m_view(view),
      m_retryDelay(retryDelay), m_url(*options.targets.front().url), m_begin(environment.clock.now()),
      m_sink(descriptor), m_digest(options.checksum ? std::make_unique<Digest>(*options.checksum) : nullptr) {
    m_shown = {.url = m_url.withoutPassword(), .name = nameFromUrl(m_url), .connections = 1};
    m_timer.setInterval(kProgressIntervalMs);
    connect(&m_timer, &QTimer::timeout, this, &OutputRunner::showProgress);
}

OutputRunner::~OutputRunner() = default;

void OutputRunner::start() {
    Runloop::assertMain();
    rememberGiven(m_options, m_url, m_credentials);
    m_view.connecting(m_shown);
    m_worker.async([this] { work(); });
}

void OutputRunner::work() {
    std::optional<Error> problem;
    bool goesOn = true;
    for (std::int64_t left = m_options.retries; goesOn; --left) {
        const auto done = attempt();
        problem = done ? std::nullopt : std::optional(done.error());
        goesOn = problem && mayPass(*problem);
        if (goesOn && m_shared.transfer && !m_shared.transfer->canGoOn()) { // which this thread has set
            problem->recoverySuggestion =
                localized("tr.err.stream-broken-recovery", {readableSize(m_shared.transfer->taken())});
            goesOn = false;
        }
        goesOn = goesOn && left > 0 && waitForNextAttempt(*problem, left);
    }
    Runloop::runOnMainLater([this, problem] { finish(problem); });
}

Result<void> OutputRunner::attempt() {
    std::shared_ptr<StreamTransfer> transfer;
    {
        const std::lock_guard lock(m_mutex);
        transfer = m_shared.transfer;
    }
    if (!transfer) {
        const auto source = findSource();
        if (!source)
            return failure(source.error());
        Runloop::runOnMainAndWait([&] {
            m_shown.name = source->suggestedFileName;
            m_shown.size = source->contentLength;
            m_view.started(m_shown);
            m_timer.start();
        });
        transfer = StreamTransfer::create(*source, m_options.referer, m_environment,
                                          [this](std::span<const char> data) { return take(data); });
        const std::lock_guard lock(m_mutex);
        m_shared.transfer = transfer;
        if (m_shared.isStopped)
            transfer->requestStop();
    }
    const auto ran = transfer->run();
    return ran && m_digest ? m_digest->check() : ran;
}

Result<ProbeAnswers> OutputRunner::findSource() {
    Url asking = m_url;
    while (true) {
        const std::string service = AuthenticationManager::getServiceNameFromURL(asking);
        m_tried.insert(service);
        if (const auto known = m_credentials.getCredentialsForURL(asking))
            m_tokens[service] = known;
        const auto probe =
            std::make_shared<DownloadProbe>(m_environment.transfers, m_url, m_options.referer, m_tokens);
        {
            const std::lock_guard lock(m_mutex);
            m_shared.probe = probe;
            if (m_shared.isStopped)
                probe->requestStop();
        }
        auto answers = probe->run();
        if (answers || !answers.error().is(ErrorDomain::RemoteFile, kRemoteFileAuthenticationErrorCode))
            return answers;
        asking = probe->authenticationUrl().value_or(m_url);
        if (!findCredentials(asking))
            return answers;
    }
}

/// Answers whether there are credentials to try next.
bool OutputRunner::findCredentials(const Url& asking) {
    const std::string service = AuthenticationManager::getServiceNameFromURL(asking);
    if (!m_tried.contains(service) && m_credentials.knowsCredentialsForURL(asking))
        return true;
    bool isAnswered = false;
    Runloop::runOnMainAndWait([&] {
        const bool isStopped = [&] {
            const std::lock_guard lock(m_mutex);
            return m_shared.isStopped;
        }();
        isAnswered = !isStopped && m_credentials.promptUserForCredentialsForURL(asking);
    });
    return isAnswered;
}

Result<void> OutputRunner::take(std::span<const char> data) {
    auto written = m_sink.write(data);
    if (written && m_digest)
        m_digest->add(data);
    return written;
}

/// Answers whether there is to be one.
bool OutputRunner::waitForNextAttempt(const Error& cause, std::int64_t left) {
    Runloop::runOnMainLater([this, cause, left] { m_view.retrying(snapshot(), cause, m_retryDelay, left); });
    std::unique_lock lock(m_mutex);
    return !m_changed.wait_for(lock, m_retryDelay, [this] { return m_shared.isStopped; });
}

void OutputRunner::interrupt() {
    Runloop::assertMain();
    {
        const std::lock_guard lock(m_mutex);
        m_shared.isStopped = true;
        if (m_shared.probe)
            m_shared.probe->requestStop();
        if (m_shared.transfer)
            m_shared.transfer->requestStop();
    }
    m_changed.notify_all();
    m_sink.requestStop();
    m_credentials.cancelPrompt();
}

DownloadSnapshot OutputRunner::snapshot() {
    Runloop::assertMain();
    {
        const std::lock_guard lock(m_mutex);
        m_shown.bytes = m_shared.transfer ? m_shared.transfer->taken() : 0;
    }
    m_shown.speed = static_cast<std::int64_t>(m_speed.speed(m_environment.clock.now(), m_shown.bytes));
    m_shown.left = Seconds(static_cast<double>(std::max<std::int64_t>(m_shown.size - m_shown.bytes, 0)) /
                           static_cast<double>(m_shown.speed + 1));
    return m_shown;
}

void OutputRunner::showProgress() {
    m_environment.transfers.tick();
    m_view.progress({snapshot()}, {.total = 1}, m_environment.clock.now());
}

void OutputRunner::finish(const std::optional<Error>& problem) {
    m_timer.stop();
    const DownloadSnapshot shown = snapshot();
    const bool isInterrupted = [&] {
        const std::lock_guard lock(m_mutex);
        return m_shared.isStopped;
    }();
    const Seconds took = m_environment.clock.now() - m_begin;
    RunSummary summary{.counts = {.total = 1, .bytes = shown.bytes}, .took = took};
    summary.isInterrupted = isInterrupted && problem;
    if (summary.isInterrupted) {
        m_view.interrupted(0, "");
    } else if (problem) {
        summary.counts.failed = 1;
        summary.failures.emplace_back(shown.url, *problem);
        if (!isReaderGone(problem)) // which has what it wanted, and says nothing either
            m_view.failed(shown, *problem);
    } else {
        summary.counts.finished = 1;
        m_view.finished(shown, {"-", shown.bytes, took, m_digest != nullptr, shown.bytes});
    }
    m_view.ended(summary);
    const int failed = problem ? DownloadRunner::kSomeFailed : DownloadRunner::kAllFinished;
    Q_EMIT ended(summary.isInterrupted ? DownloadRunner::kInterrupted : failed);
}

} // namespace tarvo
