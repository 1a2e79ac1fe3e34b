#include "queue/Preparations.h"

#include "base/Log.h"
#include "base/Runloop.h"

namespace tarvo {

Preparations::Preparations(RemoteFilesArrayController& remoteFiles, TRQueueSchedulerDelegate& delegate,
                           AuthenticationManager& authManager, std::function<void(const Job&)> ended)
    : m_remoteFiles(remoteFiles), m_delegate(delegate), m_authManager(authManager),
      m_ended(std::move(ended)) {
}

Preparations::~Preparations() = default;

void Preparations::stop() {
    Runloop::assertMain();
    m_stopped = true;
    m_authManager.cancelPrompt();
    m_delegate.closePages();
}

void Preparations::noteState(const Job& job, rf_state_t state) {
    Runloop::assertMain();
    m_awaiting.erase(job);
    if (m_stopped && state == rf_state_preparing) // it was about to begin when the queue was stopped
        Runloop::runOnNextTurn([job] { job->stop(); });
    const auto number = m_numbers.find(job);
    if (number == m_numbers.end() || state == rf_state_preparing)
        return;
    m_underWay.erase(number->second);
    if (state != rf_state_ready)
        m_numbers.erase(number);
}

void Preparations::forget(const Job& job) {
    noteState(job, rf_state_stopped);
    if (m_askedFor == job)
        m_authManager.cancelPrompt();
}

std::vector<Preparations::Job> Preparations::begunBefore(const Job& job) const {
    std::vector<Job> earlier;
    const auto number = m_numbers.find(job);
    if (number == m_numbers.end())
        return earlier;
    for (auto each = m_underWay.begin(); each != m_underWay.end() && each->first < number->second; ++each)
        earlier.push_back(each->second);
    return earlier;
}

void Preparations::sweepAndMakeReady() {
    Runloop::assertMain();
    if (m_stopped || m_remoteFiles.jobsInState(rf_state_initializing) == m_awaiting.size())
        return; // nothing new, however many wait
    m_remoteFiles.content().forEachIn({rf_state_initializing}, [this](const Job& job) {
        if (m_awaiting.contains(job))
            return true;
        Log::verbose("Scheduler found file in RF_INIT state: {}", job->description());
        makeReadyInBackgroundIfNeeded(job);
        return true;
    });
}

void Preparations::makeReadyInBackgroundIfNeeded(const Job& job) {
    if (!Log::assertThat(job != nullptr))
        return;
    m_awaiting.insert(job);
    const bool isNew =
        m_readyQueueSetQueue.sync([&] { return m_remoteFilesInReadyingQueue.insert(job).second; });
    if (!isNew) {
        Log::warning("RemoteFile {} is already scheduled to make ready. We will not add it again.",
                     job->description());
        return;
    }
    Log::verbose("Remote file {} scheduled to make ready", job->description());
    m_underWay[++m_handedIn] = job;
    m_numbers[job] = m_handedIn;
    m_readyingQueue.async([this, job] {
        Log::verbose("Remote file {} set to make ready", job->description());
        makeReadyAndHandleFailures(job);
        m_readyQueueSetQueue.async([this, job] { m_remoteFilesInReadyingQueue.erase(job); });
        Runloop::runOnMainLater([this, isThere = std::weak_ptr(m_isThere), job] {
            if (!isThere.expired())
                m_ended(job);
        });
    });
}

void Preparations::makeReadyAndHandleFailures(const Job& job) {
    auto asking = job->url();
    Tried tried;
    bool goesOn = true;
    while (goesOn && !m_stopped) {
        const Token auth = asking ? m_authManager.getCredentialsForURL(*asking) : nullptr;
        if (asking)
            tried[AuthenticationManager::getServiceNameFromURL(*asking)] = auth;
        const auto ready = job->makeReadyAndBlock(auth);
        if (ready || ready.error().domain != ErrorDomain::RemoteFile)
            return;
        if (ready.error().code == HTMLPageErrorCode) {
            Log::info("Encountered HTMLPageErrorCode");
            openHTMLPageInBrowser(job);
            return;
        }
        if (ready.error().code != kRemoteFileAuthenticationErrorCode)
            return;
        Log::info("Encountered kRemoteFileAuthenticationErrorCode");
        // Redirects may have led there: the user's login name and keys are not shown around for that.
        asking = job->authenticationUrl();
        goesOn = findCredentials(job, tried);
    }
}

/// Answers whether there are credentials to try next.
bool Preparations::findCredentials(const Job& job, const Tried& tried) {
    const auto asking = job->authenticationUrl();
    const auto areThere = [&] { return asking && knowsOthers(*asking, tried); };
    if (areThere())
        return true;
    const std::lock_guard turn(m_asking);
    // The user may have answered meanwhile, for another file of that server.
    return areThere() || promptUserForAuthCredentials(job);
}

/// Whether other credentials are remembered or stored for the server than those that it has refused.
bool Preparations::knowsOthers(const Url& url, const Tried& tried) {
    if (!m_authManager.knowsCredentialsForURL(url))
        return false;
    const auto refused = tried.find(AuthenticationManager::getServiceNameFromURL(url));
    if (refused == tried.end())
        return true;
    const Token known = m_authManager.getCredentialsForURL(url);
    return known && (!refused->second || known->username() != refused->second->username() ||
                     known->password() != refused->second->password());
}

/// Answers whether the user has answered.
bool Preparations::promptUserForAuthCredentials(const Job& job) {
    bool answered = false;
    Runloop::runOnMainAndWait([&] {
        if (!waitsForTheUser(job))
            return;
        m_askedFor = job;
        answered =
            m_authManager.promptUserForCredentialsForURL(*job->authenticationUrl()) && waitsForTheUser(job);
        m_askedFor.reset();
    });
    return answered;
}

/// The job may leave the queue before a question or page comes up, and while it is open.
bool Preparations::waitsForTheUser(const Job& job) const {
    return !m_stopped && job->currentState() == rf_state_failed && m_remoteFiles.content().contains(*job);
}

void Preparations::openHTMLPageInBrowser(const Job& job) {
    Job replacement;
    BrowserEndReason reason = BrowserEndReason::cancelled;
    {
        const std::lock_guard turn(m_asking);
        bool isWanted = false;
        Runloop::runOnMainAndWait([&] { isWanted = waitsForTheUser(job); });
        if (isWanted)
            reason = m_delegate.openBrowserFor(job, replacement);
    }
    switch (reason) {
    case BrowserEndReason::cancelled:
        return;
    case BrowserEndReason::movedOut:
        Runloop::runOnMainAndWait([&] {
            if (m_remoteFiles.content().contains(*job))
                m_remoteFiles.removeRemoteFile(job);
        });
        return;
    case BrowserEndReason::download:
        if (!Log::assertThat(replacement != nullptr))
            return;
        Log::debug("Browser got us a new remote file {}", replacement->description());
        Runloop::runOnMainAndWait([&] { adoptReplacement(job, replacement); });
        return;
    }
    Log::assertThat(false);
}

void Preparations::adoptReplacement(const Job& job, const Job& replacement) {
    // The user may have removed the job with its page open; what the page has brought is kept.
    const auto adopted = m_remoteFiles.content().contains(*job)
                             ? m_remoteFiles.replaceRemoteFile(job, replacement)
                             : m_remoteFiles.addRemoteFile(replacement);
    if (!adopted)
        m_delegate.schedulerFailed(adopted.error());
    m_delegate.schedulerAddedFiles();
}

} // namespace tarvo
