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

namespace tarvo {

/// What is deleted with the data of `jobs`: how many downloads, and the first names. Main thread.
std::string removalNote(const std::vector<std::shared_ptr<RemoteFile>>& jobs);

/// One task after another, on a queue of its own. Main thread; what is handed in is called there, too. Its
/// end waits for what is under way.
class JobFiles {
public:
    using Job = std::shared_ptr<RemoteFile>;

    /// Saves the job's progress. A disk that takes longer than the time between two saves is not given more
    /// to do: without `done`, a job whose save is outstanding is passed over.
    void save(const Job& job, std::function<void(const Result<void>& saved)> done = nullptr);

    /// Deletes what the jobs have on disk; large files take their time to go. `failed` is called with the
    /// last failure, if there was one.
    void remove(const std::vector<Job>& jobs, std::function<void(const Error&)> failed);

    bool isIdle() { return m_fileSavingQueue.isIdle() && m_beingSaved.empty(); }

private:
    std::unordered_set<const RemoteFile*> m_beingSaved;
    SerialQueue m_fileSavingQueue{"com.unregistered.tarvo2.fileSavingQueue"}; // last, so that it ends first
};

} // namespace tarvo
