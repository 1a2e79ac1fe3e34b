#include "queue/JobFiles.h"

#include "base/FileName.h"
#include "base/Localized.h"
#include "base/Log.h"
#include "base/Runloop.h"

#include <algorithm>
#include <utility>

namespace tarvo {

namespace {

constexpr std::size_t kNamesShown = 8;
constexpr std::size_t kBytesOfName = 80;

/// How many downloads, and the first names.
std::string removalNote(const std::vector<std::shared_ptr<RemoteFile>>& jobs) {
    std::string note = localizedCount("tr.alert.removes", jobs.size());
    const std::size_t shown = std::min(jobs.size(), kNamesShown);
    for (std::size_t i = 0; i < shown; ++i) {
        const std::string whole = jobs[i]->displayName();
        const std::string name = cutToBytes(whole, kBytesOfName);
        note += "\n• " + name + (name == whole ? "" : "…");
    }
    if (jobs.size() > shown)
        note += "\n" + localizedCount("tr.alert.removes-more", jobs.size() - shown);
    return note;
}

} // namespace

bool isRemovalWanted(const std::vector<std::shared_ptr<RemoteFile>>& jobs, AlertPresenter& alerts) {
    Runloop::assertMain();
    const auto button = alerts.runAlert(localized("Remove Data?"),
                                        localized("Existing data will be removed. This cannot be undone.") +
                                            "\n\n" + removalNote(jobs),
                                        {localized("OK"), localized("Cancel")});
    return button == 0;
}

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

void JobFiles::remove(const std::vector<Job>& jobs, Done done) {
    Runloop::assertMain();
    m_fileSavingQueue.async([jobs, done = std::move(done)] {
        std::optional<Error> last;
        for (const auto& job : jobs) {
            if (auto problem = job->removeFiles())
                last = problem;
        }
        Runloop::runOnMainLater([done, last] { done(last); });
    });
}

} // namespace tarvo
