// What a queue of ten thousand downloads costs the main thread: adding, a tick, saving, restoring, leaving.
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>

#include <QCoreApplication>

#include "queue/QueueController.h"
#include "queue/QueueStateSaver.h"
#include "queue/StatsBroadcaster.h"
#include "storage/ProgressBundle.h"
#include "storage/ProgressFile.h"
#include "support/JobHarness.h"
#include "support/ScriptedJob.h"

namespace {

using namespace tarvo;
using Job = std::shared_ptr<RemoteFile>;

constexpr int kJobs = 10'000;
constexpr int kTicks = 20;

bool missed = false;

double milliseconds(const std::function<void()>& work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

void tell(const char* what, double measured, double aim) {
    const char* verdict = measured < aim ? "PASS" : "MISS";
    missed = missed || measured >= aim;
    std::printf("%s  %s: %.2f ms (aim: < %.0f)\n", verdict, what, measured, aim);
}

void tell(const char* what, double measured) {
    std::printf("      %s: %.2f ms\n", what, measured);
}

/// A desktop that asks nothing and answers nothing.
class NoDesktop final : public PageOpener, public AlertPresenter, public PasswordStore {
    BrowserEndReason openBrowserFor(const Job&, Job&) override { return BrowserEndReason::cancelled; }

    void closePages() override {}

    void presentError(const Error&) override {}

    std::size_t runAlert(const std::string&, const std::string&, const std::vector<std::string>&) override {
        return 0;
    }

    std::vector<std::string> accounts(const std::string&) override { return {}; }

    std::optional<std::string> password(const std::string&, const std::string&) override { return {}; }

    void store(const std::string&, const std::string&, const std::string&) override {}
};

struct Queue {
    test::JobHarness harness;
    NotificationCenter notifications;
    NoDesktop desktop;
    AuthenticationManager credentials{desktop, nullptr, harness.defaults, harness.clock};
    QueueController controller{{.jobs = harness.environment,
                                .notifications = notifications,
                                .authManager = credentials,
                                .pages = desktop,
                                .alerts = desktop}};

    ~Queue() {
        bool ended = false;
        QObject::connect(&controller, &QueueController::ended, [&] { ended = true; });
        controller.quit();
        test::turnUntil([&] { return ended; });
    }
};

void addAddresses() {
    Queue queue;
    std::vector<Job> jobs;
    const double added = milliseconds([&] {
        for (int i = 0; i < kJobs; ++i) {
            const auto url = Url::parse("http://127.0.0.1:1/a/folder/of/files/" + std::to_string(i) + ".bin");
            jobs.push_back(
                CURLRemoteFile::create(*url, 10, queue.harness.folder.path(), queue.harness.environment));
        }
        [[maybe_unused]] const auto refused = queue.controller.addDownloads(jobs);
    });
    tell("adding 10,000 addresses", added, 1000);
    tell("their first turn, which hands all to the preparation",
         milliseconds([] { QCoreApplication::processEvents(); }));
    tell("taking all out again",
         milliseconds([&] { queue.controller.remoteFiles().removeRemoteFiles(jobs); }));
}

/// What is shown of the list, as often as it changes.
void showRows() {
    test::JobHarness harness;
    NotificationCenter notifications;
    RemoteFilesArrayController files(notifications);
    std::vector<Job> jobs;
    for (int i = 0; i < kJobs; ++i)
        jobs.push_back(test::ScriptedJob::create(harness.environment, "http://127.0.0.1/" + std::to_string(i),
                                                 i % 2 == 0 ? rf_state_ready : rf_state_failed));
    tell("adding 10,000 jobs to the list",
         milliseconds([&] { [[maybe_unused]] const auto refused = files.addRemoteFiles(jobs); }));
    std::size_t rows = 0;
    const auto look = [&] { rows += static_cast<std::size_t>(files.rowCount()); };
    look();
    tell("showing half of them by a filter", milliseconds([&] {
             files.setFilter(JobFilter::all().back());
             look();
         }));
    tell("showing all again", milliseconds([&] {
             files.setFilter(JobFilter::all().front());
             look();
         }));
    tell("replacing one and looking at its row, the mean of 100",
         milliseconds([&] {
             for (int i = 0; i < 100; ++i) {
                 Job& job = jobs[static_cast<std::size_t>(i) * 97];
                 job = *files.reloadRemoteFile(job);
                 rows += static_cast<std::size_t>(files.rowOf(*job).value_or(0));
             }
         }) / 100);
    tell("replacing each of them", milliseconds([&] {
             for (Job& job : jobs)
                 job = *files.reloadRemoteFile(job);
             look();
         }));
    tell("taking every second one out", milliseconds([&] {
             std::vector<Job> half;
             for (std::size_t i = 0; i < jobs.size(); i += 2)
                 half.push_back(jobs[i]);
             files.removeRemoteFiles(half);
             look();
         }));
    tell("taking the others out, one after the other", milliseconds([&] {
             for (std::size_t i = 1; i < jobs.size(); i += 2)
                 files.removeRemoteFile(jobs[i]);
             look();
         }));
    if (rows == 0)
        std::puts("no rows");
}

/// Counts what a queue would tell its pages and prompts.
class Silent final : public TRQueueSchedulerDelegate {
    BrowserEndReason openBrowserFor(const Job&, Job&) override { return BrowserEndReason::cancelled; }

    void closePages() override {}

    void schedulerAddedFiles() override {}

    void schedulerFailed(const Error&) override {}
};

/// The longest of some ticks of a queue all of whose jobs but one are in `state`.
double longestTick(rf_state_t state) {
    test::JobHarness harness;
    NotificationCenter notifications;
    NoDesktop desktop;
    Silent silent;
    AuthenticationManager credentials(desktop, nullptr, harness.defaults, harness.clock);
    RemoteFilesArrayController files(notifications);
    WorkQueue workers;
    TRQueueScheduler scheduler(files, 1, silent,
                               {harness.defaults, harness.clock, notifications, credentials, workers});
    StatsBroadcaster broadcaster(files, notifications);
    const auto reader =
        notifications.observe(StatsBroadcaster::kStatsBroadcastEvent, [](const Notification& event) {
            using Stats = std::shared_ptr<const RemoteFileCollectionStats>;
            const Stats stats = *event.info<Stats>(StatsBroadcaster::kStatsBroadcastKey);
            if (stats->percentDownloaded() > 2 || stats->currentSpeed() < 0)
                std::puts("impossible figures");
        });
    for (int i = 0; i < kJobs; ++i) {
        const auto job = test::ScriptedJob::create(
            harness.environment, "http://127.0.0.1/" + std::to_string(i), i == 0 ? rf_state_running : state);
        if (state == rf_state_failed && i > 0)
            job->shownError = Error::posix(EIO, "read", "x");
        job->shownErrorDate = harness.clock.now();
        [[maybe_unused]] const auto refused = files.addRemoteFile(job);
        scheduler.addToPausedSet(job);
    }
    double longest = 0;
    for (int i = 0; i < kTicks; ++i)
        longest = std::max(longest, milliseconds([&] {
                               scheduler.invokeAutorunPass();
                               scheduler.invokeMaintenancePass();
                               broadcaster.broadcastStats();
                           }));
    return longest;
}

void saveAndRestore() {
    test::JobHarness harness;
    NotificationCenter notifications;
    for (int i = 0; i < kJobs; ++i) {
        const ProgressBundle bundle(harness.folder.path(), std::to_string(i));
        std::filesystem::create_directory(bundle.bundleDirectory());
        const Url url = *Url::parse("http://127.0.0.1:1/" + std::to_string(i));
        [[maybe_unused]] const auto written =
            ProgressFile(bundle.progressFile(), harness.disk)
                .writeData({url, 1000, std::make_shared<ProgressData>(1000), {}, 4});
    }
    {
        RemoteFilesArrayController files(notifications);
        QueueStateSaver saver(files, harness.defaults, harness.environment);
        for (int i = 0; i < kJobs; ++i)
            [[maybe_unused]] const auto refused =
                files.addRemoteFile(harness.jobFromBundle(std::to_string(i)));
        double onMain = 0;
        const double toDisk = milliseconds([&] {
            onMain = milliseconds([&] { saver.saveUIState(); });
            saver.finishSaving();
        });
        tell("saving the session, on the main thread", onMain);
        tell("saving the session, until it is on the disk", toDisk);
    }
    UserDefaults defaults(harness.folder.path("settings.conf"), harness.settingsDisk);
    RemoteFilesArrayController files(notifications);
    QueueStateSaver saver(files, defaults, harness.environment);
    tell("restoring the session, every record read", milliseconds([&] { saver.restoreUIState(); }));
    if (files.content().size() != kJobs) {
        std::printf("FAILED: only %zu jobs came back\n", files.content().size());
        missed = true;
    }
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    const Runloop::Main mainThread;
    std::puts("\nqueue: 10,000 downloads");
    addAddresses();
    showRows();
    tell("the longest tick, 10,000 waiting", longestTick(rf_state_ready), 5);
    tell("the longest tick, 10,000 paused", longestTick(rf_state_paused), 5);
    tell("the longest tick, 10,000 failed", longestTick(rf_state_failed), 5);
    tell("the longest tick, 10,000 finished", longestTick(rf_state_succeeded), 5);
    saveAndRestore();
    return missed ? 1 : 0;
}
