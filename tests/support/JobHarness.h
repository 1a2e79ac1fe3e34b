// Everything a job needs to run in a test: settings, disk, queues, a folder, and a turning main loop.
#pragma once

#include "base/Clock.h"
#include "base/PosixDisk.h"
#include "base/Runloop.h"
#include "base/SerialQueue.h"
#include "base/SettingKeys.h"
#include "base/UserDefaults.h"
#include "base/WorkQueue.h"
#include "engine/transfer/CookieStore.h"
#include "jobs/CURLRemoteFile.h"
#include "support/FailingDisk.h"
#include "support/TemporaryFolder.h"
#include "support/TurnUntil.h"

#include <atomic>

namespace tarvo::test {

class JobHarness {
public:
    JobHarness() {
        defaults.registerDefaults({{std::string(SettingKey::kMaxConnectionsPerHost), 64},
                                   {std::string(SettingKey::kMinimumChunkSize), 1024},
                                   {std::string(SettingKey::kPreparationConcurrency), 8},
                                   {std::string(SettingKey::kCustomUserAgent), "tarvo-test"}});
    }

    ~JobHarness() {
        turnUntil([this] { return workers.isIdle(); });
        QCoreApplication::processEvents(); // jobs whose last reference fell on a worker
    }

    TemporaryFolder folder;
    PosixDisk settingsDisk; // does not fail
    UserDefaults defaults{folder.path("settings.conf"), settingsDisk};
    FailingDisk disk;
    SystemClock clock;
    CookieStore cookies;
    SerialQueue savingQueue{"com.unregistered.tarvo2.remoteFileSavingQueue"};
    WorkQueue workers;
    TransferEnvironment transfers{defaults, cookies, clock};
    JobEnvironment environment{defaults, disk, clock, transfers, savingQueue};

    std::shared_ptr<CURLRemoteFile> job(const std::string& url, std::int64_t connections = 4) const {
        return CURLRemoteFile::create(*Url::parse(url), connections, folder.path(), environment);
    }

    std::shared_ptr<CURLRemoteFile> jobFromBundle(const std::string& name) const {
        return CURLRemoteFile::fromBundleFile(folder.path(name + ".trdownload"), environment);
    }

    /// Runs `work` on a worker while the main loop turns. Answers whether it ended within `limit`.
    bool onWorker(const std::function<void()>& work,
                  std::chrono::milliseconds limit = std::chrono::seconds(30)) {
        const auto done = std::make_shared<std::atomic<bool>>(false);
        workers.async([done, work] {
            work();
            *done = true;
        });
        return turnUntil([&] { return done->load(); }, limit);
    }

    /// Makes the job ready; the error if that failed.
    std::optional<Error> prepare(const std::shared_ptr<RemoteFile>& job,
                                 const std::shared_ptr<const TRAuthToken>& auth = nullptr) {
        std::optional<Error> problem;
        onWorker([&] {
            if (const auto ready = job->makeReadyAndBlock(auth); !ready)
                problem = ready.error();
        });
        return problem;
    }

    /// Prepares the job and transfers it to its end. The error it ended with, if any.
    std::optional<Error> run(const std::shared_ptr<RemoteFile>& job,
                             const std::shared_ptr<const TRAuthToken>& auth = nullptr) {
        if (auto problem = prepare(job, auth))
            return problem;
        onWorker([&] { job->downloadAndBlock(); });
        return job->error();
    }

    /// Prepares the job and starts it on a worker of its own; returns while it runs.
    void start(const std::shared_ptr<RemoteFile>& job) {
        prepare(job);
        job->resumeOrStart(workers);
        turnUntil([&] { return job->currentState() != rf_state_ready; });
    }

    bool exists(const std::string& name) const { return Disk::exists(folder.path(name)); }
};

} // namespace tarvo::test
