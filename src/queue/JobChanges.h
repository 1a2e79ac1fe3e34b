// Which jobs look different than before, told a few times a second.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <unordered_set>
#include <vector>

#include <QObject>
#include <QTimer>

#include "jobs/RemoteFile.h"

namespace tarvo {

/// Gathers the jobs that have changed their bytes, their size, their name or their state, and tells them all
/// at once. Main thread.
class JobChanges : public QObject {
public:
    using Job = std::shared_ptr<RemoteFile>;
    using Tell = std::function<void(const std::vector<Job>& changed)>;

    /// `tell` is called at most once in `between`, and only when something has changed.
    JobChanges(std::chrono::milliseconds between, Tell tell);

    /// Notices from here on what the job signals. A job is watched once at most.
    void watch(const Job& job);

    /// The job is not told any more, nor is what it has signalled until now.
    void forget(const Job& job);

private:
    void note(RemoteFile& job);
    void tell();

    const Tell m_tell;
    std::unordered_set<Job> m_changed;
    QTimer m_timer;
};

} // namespace tarvo
