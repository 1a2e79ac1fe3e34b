// What is done with the files of jobs in the background: their progress is saved, their data removed.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "base/SerialQueue.h"
#include "jobs/RemoteFile.h"
#include "queue/AlertPresenter.h"

namespace tarvo {

/// Asks whether the data of `jobs` are to be deleted: says how many downloads, and the first names. Main
/// thread.
bool isRemovalWanted(const std::vector<std::shared_ptr<RemoteFile>>& jobs, AlertPresenter& alerts);

/// One task after another, on a queue of its own. Main thread; what is handed in is called there, too. Its
/// end waits for what is under way.
class JobFiles {
public:
    using Job = std::shared_ptr<RemoteFile>;
    using Done = std::function<void(const std::optional<Error>& failure)>;

    /// Saves the job's progress. A disk that takes longer than the time between two saves is not given more
    /// to do: without `done`, a job whose save is outstanding is passed over.
    void save(const Job& job, std::function<void(const Result<void>& saved)> done = nullptr);

    /// Deletes what the jobs have on disk; large files take their time to go. `done` is called with the last
    /// failure, if there was one.
    void remove(const std::vector<Job>& jobs, Done done);

    bool isIdle() { return m_fileSavingQueue.isIdle() && m_beingSaved.empty(); }

private:
    std::unordered_set<const RemoteFile*> m_beingSaved;
    SerialQueue m_fileSavingQueue{"com.unregistered.tarvo2.fileSavingQueue"}; // last, so that it ends first
};

} // namespace tarvo
