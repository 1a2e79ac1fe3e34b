#include "queue/JobFiles.h"

#include "base/Log.h"
#include "base/Runloop.h"

#include <utility>

namespace tarvo {

void JobFiles::save(const Job& job, std::function<void(const Result<void>& saved)> done) {
    Runloop::assertMain();
    if (!m_beingSaved.insert(job.get()).second && !done)
        return;
    m_fileSavingQueue.async([this, job, done = std::move(done)] {
        Log::info("Asynchronously saving rf {}", job->description());
        const auto saved = job->saveProgress();
        if (!saved)
            Log::error("Error: {}", saved.error().description);
        Runloop::runOnMainLater([this, job, done, saved] {
            m_beingSaved.erase(job.get());
            if (done)
                done(saved);
        });
    });
}

void JobFiles::remove(const std::vector<Job>& jobs, std::function<void(const Error&)> failed) {
    Runloop::assertMain();
    m_fileSavingQueue.async([jobs, failed = std::move(failed)] {
        std::optional<Error> last;
        for (const auto& job : jobs) {
            if (auto problem = job->removeFiles())
                last = problem;
        }
        if (last)
            Runloop::runOnMainLater([failed, last] { failed(*last); });
    });
}

} // namespace tarvo
