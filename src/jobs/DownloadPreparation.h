// Makes a download ready: what the server has, whose bundle it goes into, what is missing of it.
#pragma once

#include <functional>
#include <memory>

#include "base/ThreadOwner.h"
#include "jobs/BundleAdoption.h"
#include "jobs/ConnectionPlan.h"

namespace tarvo {

/// A download that only has to be started.
struct ReadyDownload {
    DownloadSource source;
    HandleCreator::Handles
        connections{}; ///< without their libcurl handles, for thousands of jobs may be ready
};

/// Made on the main thread, for one run on a worker. Touches the job only by the function that it is given.
class DownloadPreparation {
public:
    /// Takes notice of what the probe has found, and answers where the bundle is to be if there is none.
    /// None: the program is quitting. On the worker.
    using ShowProbe = std::function<std::optional<BundlePlace>(const ProbeAnswers&)>;

    /// `environment` outlives it.
    DownloadPreparation(const Url& url, const DownloadFacts& known, const AuthTokens& tokens,
                        std::shared_ptr<DataIntake> intake, const JobEnvironment& environment);

    DownloadPreparation(const DownloadPreparation&) = delete;
    DownloadPreparation& operator=(const DownloadPreparation&) = delete;

    /// On the worker, once. Error: kRemoteFileAlreadyComplete where the file turned out to be there; of the
    /// probe; of the disk; that the bundle can't be gone on with, or is another job's.
    Result<ReadyDownload> run(const ShowProbe& show);

    /// What has been found out, also by a run that has failed. After the run.
    const Findings& found() const { return m_found; }

    /// Ends what is asked of servers at once. Any thread.
    void requestStop() {
        m_probe.requestStop();
        m_proof.requestStop();
    }

private:
    Result<ProbeAnswers> probe();
    Result<ReadyDownload> makeReady(const ProgressBundle& bundle, const ProbeAnswers& probe);
    Result<void> writeFirstRecord(const ProgressBundle& bundle, const DataSnapshot& data);

    const Url m_url;
    const std::shared_ptr<DataIntake> m_intake;
    const JobEnvironment& m_environment;
    Findings m_found;
    DownloadProbe m_probe;
    AddressProof m_proof;
    BundleAdoption m_adoption;
    ThreadOwner m_owner;
};

} // namespace tarvo
