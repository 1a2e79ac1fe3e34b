// What the main window costs with ten thousand rows, 256 of them running: frames, processor time, memory, and
// how long adding, filtering and removing all of them take until they are seen. Needs a display.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <functional>
#include <string>

#include <QApplication>
#include <QScrollBar>
#include <QWindow>

#include "base/Localized.h"
#include "support/JobHarness.h"
#include "support/ScriptedJob.h"
#include "ui/QueueWindow.h"

namespace {

using namespace tarvo;
using namespace std::chrono_literals;

constexpr int kJobs = 10'000;
constexpr int kRunning = 256;
constexpr auto kWatched = 10s;

bool missed = false;

void tell(const char* what, double measured, double aim, const char* unit) {
    const char* verdict = measured < aim ? "PASS" : "MISS";
    missed = missed || measured >= aim;
    std::printf("%s  %s: %.2f %s (aim: < %.0f)\n", verdict, what, measured, unit, aim);
    std::fflush(stdout);
}

double millisecondsSince(std::chrono::steady_clock::time_point begin) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

double processorSeconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

double residentMiB() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:"))
            return std::stod(line.substr(6)) / 1024;
    }
    return 0;
}

/// Measures each frame: the event with which a window draws what has changed, to its end.
class MeasuredApplication final : public QApplication {
public:
    using QApplication::QApplication;

    bool notify(QObject* receiver, QEvent* event) override {
        if (event->type() != QEvent::UpdateRequest)
            return QApplication::notify(receiver, event);
        const auto begin = std::chrono::steady_clock::now();
        const bool answer = QApplication::notify(receiver, event);
        frames.push_back(millisecondsSince(begin));
        return answer;
    }

    /// Of those since the last call, the one that 95 % are not longer than.
    double longFrame() {
        std::sort(frames.begin(), frames.end());
        const double frame = frames.empty() ? 0 : frames[frames.size() * 95 / 100];
        std::printf("      %zu frames\n", frames.size());
        frames.clear();
        return frame;
    }

    std::vector<double> frames;
};

/// A desktop that asks nothing and answers nothing.
class NoDesktop final : public PageOpener, public AlertPresenter, public PasswordStore {
    BrowserEndReason openBrowserFor(const QueueController::Job&, QueueController::Job&) override {
        return BrowserEndReason::cancelled;
    }

    void closePages() override {}

    void presentError(const Error&) override {}

    std::size_t runAlert(const std::string&, const std::string&, const std::vector<std::string>&) override {
        return 0;
    }

    std::vector<std::string> accounts(const std::string&) override { return {}; }

    std::optional<std::string> password(const std::string&, const std::string&) override { return {}; }

    void store(const std::string&, const std::string&, const std::string&) override {}
};

class Bench {
public:
    Bench() {
        window.resize(1000, 700);
        window.show();
        test::turnUntil([this] { return window.windowHandle()->isExposed(); });
        turn(500ms);
    }

    ~Bench() {
        bool ended = false;
        QObject::connect(&controller, &QueueController::ended, [&] { ended = true; });
        controller.quit();
        test::turnUntil([&] { return ended; });
    }

    void run(MeasuredApplication& application) {
        const double empty = residentMiB();
        makeJobs();
        measure("adding 10,000 rows", [&] { (void)queue.addRemoteFiles(all); });
        turn(2s);
        tell("memory above the empty window", residentMiB() - empty, 60, "MiB");
        application.frames.clear();
        watchRunning();
        tell("frame, of 100 the 95th longest, 256 rows running", application.longFrame(), 16, "ms");
        scroll();
        tell("frame while scrolling", application.longFrame(), 16, "ms");
        filter();
        remove();
    }

private:
    static void turn(std::chrono::milliseconds limit) {
        test::turnUntil([] { return false; }, limit);
    }

    /// Until the window shows it.
    void measure(const char* what, const std::function<void()>& work) {
        const double processor = processorSeconds();
        const auto begin = std::chrono::steady_clock::now();
        work();
        window.list().viewport()->repaint();
        QCoreApplication::processEvents();
        tell(what, millisecondsSince(begin), 100, "ms");
        std::printf("      of these on the processor: %.2f ms\n", (processorSeconds() - processor) * 1000);
        turn(300ms);
    }

    void makeJobs() {
        const char* const ends[] = {"iso", "zip", "mp4", "pdf", "png", "tar.gz"};
        for (int i = 0; i < kJobs; ++i) {
            const std::string name = "a-file-of-some-length-" + std::to_string(i) + "." + ends[i % 6];
            const auto state = i < kRunning ? rf_state_running : i % 2 ? rf_state_succeeded : rf_state_failed;
            auto job = test::ScriptedJob::create(harness.environment,
                                                 "http://127.0.0.1/a/folder/of/files/" + name, state);
            job->setFileSize(100'000'000);
            job->speed = 1'000'000;
            all.push_back(job);
            if (i < kRunning)
                running.push_back(job);
        }
    }

    void watchRunning() {
        QTimer progress;
        QObject::connect(&progress, &QTimer::timeout, [this] {
            for (const auto& job : running) {
                job->done += 250'000;
                Q_EMIT job->totalBytesDownloadedChanged();
            }
        });
        progress.start(250ms);
        const double before = processorSeconds();
        QEventLoop loop;
        QTimer::singleShot(kWatched, &loop, &QEventLoop::quit);
        loop.exec();
        const double share = (processorSeconds() - before) / std::chrono::duration<double>(kWatched).count();
        tell("processor, 256 rows running at 4 Hz", share * 100, 5, "% of a core");
    }

    void scroll() {
        QScrollBar* bar = window.list().verticalScrollBar();
        for (int i = 0; i < 200; ++i) {
            bar->setValue(bar->value() + (i % 50 == 49 ? bar->maximum() / 4 : 37));
            turn(16ms);
        }
    }

    void filter() {
        measure("filtering half of them", [&] { queue.setFilter(JobFilter::all().back()); });
        measure("showing all again", [&] { queue.setFilter(JobFilter::all().front()); });
        measure("searching a word", [&] { queue.setSearch("length-77"); });
        measure("ending the search", [&] { queue.setSearch(""); });
        window.list().selectAll();
        measure("filtering while all are selected", [&] { queue.setFilter(JobFilter::all().back()); });
        measure("showing all again, half selected", [&] { queue.setFilter(JobFilter::all().front()); });
    }

    void remove() {
        window.list().selectAll();
        measure("removing all, selected", [&] { queue.removeRemoteFiles(window.selectedJobs()); });
    }

    test::JobHarness harness;
    NotificationCenter notifications;
    NoDesktop desktop;
    AuthenticationManager credentials{desktop, nullptr, harness.defaults, harness.clock};
    QueueController controller{{.jobs = harness.environment,
                                .notifications = notifications,
                                .authManager = credentials,
                                .pages = desktop,
                                .alerts = desktop}};
    RemoteFilesArrayController& queue = controller.remoteFiles();
    QueueWindow window{
        WindowEnvironment{controller, harness.environment, harness.defaults, desktop, harness.folder.path()}};
    std::vector<QueueController::Job> all;
    std::vector<std::shared_ptr<test::ScriptedJob>> running;
};

} // namespace

int main(int argc, char** argv) {
    MeasuredApplication application(argc, argv);
    const Runloop::Main mainThread;
    installLocalizedTexts();
    std::puts("\nrows: the window with 10,000 downloads");
    Bench().run(application);
    return missed ? 1 : 0;
}
