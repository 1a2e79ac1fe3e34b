// Prepares the jobs of a queue, several at a time, with the questions and pages that this may need.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "base/ParallelQueue.h"
#include "base/SerialQueue.h"
#include "jobs/AuthenticationManager.h"
#include "queue/PageOpener.h"
#include "queue/RemoteFilesArrayController.h"

namespace tarvo {

/// Whom the scheduler and its preparations ask and tell. Outlives them.
class TRQueueSchedulerDelegate : public PageOpener {
public:
    /// A browser visit has brought a job into the queue. Main thread.
    virtual void schedulerAddedFiles() = 0;

    /// Something the user should see. Main thread.
    virtual void schedulerFailed(const Error& error) = 0;
};

/// Preparations begin in the order in which they were asked for, and run side by side; prompts and pages are
/// open one at a time, while other preparations go on. Main thread.
class Preparations {
public:
    using Job = std::shared_ptr<RemoteFile>;

    /// Everything referred to outlives the object. `ended` is called on the main thread when a preparation is
    /// over, prompts and pages included; never after the object's end.
    Preparations(RemoteFilesArrayController& remoteFiles, TRQueueSchedulerDelegate& delegate,
                 AuthenticationManager& authManager, std::function<void(const Job&)> ended);

    /// Waits for the preparations under way; stop() comes before.
    ~Preparations();

    Preparations(const Preparations&) = delete;
    Preparations& operator=(const Preparations&) = delete;

    /// How many may run at once, from now on.
    void setConcurrency(std::int64_t count) { m_readyingQueue.setWidth(static_cast<std::size_t>(count)); }

    /// The content's jobs that are neither prepared nor on the way to it.
    void sweepAndMakeReady();

    /// A job of the queue has come into another state.
    void noteState(const Job& job, rf_state_t state);

    /// The job leaves the queue.
    void forget(const Job& job);

    /// The jobs under way whose preparation was begun before that of `job`, which is ready. Where one waited
    /// for the other, they would be ready before it. As many as run at once, at most.
    std::vector<Job> begunBefore(const Job& job) const;

    /// From now on nothing is prepared; a prompt or page that is open ends without an answer.
    void stop();

    /// Whether none is under way.
    bool isIdle() { return m_readyingQueue.isIdle(); }

private:
    using Token = AuthenticationManager::Token;
    using Tried = std::map<std::string, Token>; // by service

    void makeReadyInBackgroundIfNeeded(const Job& job);
    void makeReadyAndHandleFailures(const Job& job);
    bool findCredentials(const Job& job, const Tried& tried);
    bool knowsOthers(const Url& url, const Tried& tried);
    bool promptUserForAuthCredentials(const Job& job);
    bool waitsForTheUser(const Job& job) const;
    void openHTMLPageInBrowser(const Job& job);
    void adoptReplacement(const Job& job, const Job& replacement);

    RemoteFilesArrayController& m_remoteFiles;
    TRQueueSchedulerDelegate& m_delegate;
    AuthenticationManager& m_authManager;
    const std::function<void(const Job&)> m_ended;
    const std::shared_ptr<bool> m_isThere = std::make_shared<bool>(true); // gone with the object

    /// Handed to the readying queue and still in rf_state_initializing: nothing for the sweep to do.
    std::unordered_set<Job> m_awaiting;
    /// Not prepared yet, in the order in which they were handed in.
    std::map<std::uint64_t, Job> m_underWay;
    /// The place in that order of those, and of the ready ones.
    std::unordered_map<Job, std::uint64_t> m_numbers;
    std::uint64_t m_handedIn = 0;

    Job m_askedFor; ///< whose prompt is open
    std::atomic<bool> m_stopped{false};
    std::mutex m_asking; // the turn of a worker that has something for the user to answer

    /// Waiting for or undergoing preparation. Touched on the queue below only.
    std::unordered_set<Job> m_remoteFilesInReadyingQueue;
    SerialQueue m_readyQueueSetQueue{"com.unregistered.tarvo2.readyQueueSetQueue"};
    ParallelQueue m_readyingQueue{"com.unregistered.tarvo2.readyingQueue"}; // ends first
};

} // namespace tarvo
