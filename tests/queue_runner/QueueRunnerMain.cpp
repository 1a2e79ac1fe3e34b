// tarvo-queue-runner SETTINGS FOLDER ADDRESSES CONCURRENCY CONNECTIONS: goes on with the queue that the
// settings file holds, adds the addresses in the file ADDRESSES, one a line, that are neither in it nor
// finished in FOLDER, and ends with status 0 once all are finished. SIGTERM makes it quit in order, with
// status 130. Keeps a journal on standard output, each line written before what it tells of goes on:
//
//     restored NAME…    what the saved session has brought back, in the queue's order
//     saving NAME…      what of the queue can go on after a restart, at the moment at which it is saved
#include "base/Localized.h"
#include "base/Log.h"
#include "base/Runloop.h"
#include "base/SettingKeys.h"
#include "jobs/CURLRemoteFile.h"
#include "platform/Interrupt.h"
#include "support/UnattendedQueue.h"

#include <charconv>
#include <fstream>
#include <span>
#include <string>

#include <QCoreApplication>
#include <spdlog/sinks/base_sink.h>
#include <unistd.h>

namespace {

using namespace tarvo;

constexpr Seconds kRetrySoon{0.3};

struct Arguments {
    std::string settings;
    std::string folder;
    std::string addresses;
    std::int64_t concurrency = 1;
    std::int64_t connections = 1;
};

std::optional<Arguments> readArguments(std::span<char*> given) {
    if (given.size() != 6)
        return std::nullopt;
    Arguments read{given[1], given[2], given[3]};
    for (auto [text, number] : {std::pair{std::string_view(given[4]), &read.concurrency},
                                std::pair{std::string_view(given[5]), &read.connections}}) {
        const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), *number);
        if (problem != std::errc() || end != text.data() + text.size())
            return std::nullopt;
    }
    return read;
}

/// One write, so that a kill leaves whole lines.
void note(std::string_view what, const std::vector<std::shared_ptr<RemoteFile>>& jobs) {
    std::string line(what);
    for (const auto& job : jobs)
        line += " " + job->fileName();
    line += '\n';
    [[maybe_unused]] const auto ignored = ::write(STDOUT_FILENO, line.data(), line.size());
}

/// Hears, on the main thread, that the session is about to be saved: the log says so before it is read.
class SavingSink final : public spdlog::sinks::base_sink<std::mutex> {
public:
    explicit SavingSink(std::function<void()> saving) : m_saving(std::move(saving)) {
        set_level(Log::threshold(LogLevel::info));
    }

private:
    void sink_it_(const spdlog::details::log_msg& message) override {
        if (std::string_view(message.payload.data(), message.payload.size()) == "Saving UI State")
            m_saving();
    }

    void flush_() override {}

    const std::function<void()> m_saving;
};

void addMissing(QueueController& controller, const Arguments& arguments, const JobEnvironment& environment) {
    std::vector<std::shared_ptr<RemoteFile>> jobs;
    std::ifstream addresses(arguments.addresses);
    for (std::string address; std::getline(addresses, address);) {
        const auto url = Url::parse(address);
        if (!url || controller.remoteFiles().existingRemoteFiles().contains(url->absoluteString()) ||
            Disk::exists(arguments.folder + "/" + url->lastPathComponent()))
            continue;
        jobs.push_back(CURLRemoteFile::create(*url, arguments.connections, arguments.folder, environment));
    }
    Log::assertThat(controller.addDownloads(jobs).has_value());
}

int run(const Arguments& arguments) {
    UserDefaults defaults(arguments.settings);
    defaults.registerDefaults({{std::string(SettingKey::kMinimumChunkSize), 1024}});
    defaults.setForThisRun(SettingKey::kDefaultConcurrency,
                           QVariant::fromValue<qlonglong>(arguments.concurrency));
    PosixDisk disk;
    const SystemClock clock;
    const CookieStore cookies;
    const TransferEnvironment transfers{defaults, cookies, clock};
    SerialQueue savingQueue("com.unregistered.tarvo2.remoteFileSavingQueue");
    const JobEnvironment environment{defaults, disk, clock, transfers, savingQueue};
    test::UnattendedQueue queue(environment, &defaults, kRetrySoon);
    QueueController& controller = queue.controller;
    RemoteFilesArrayController& files = controller.remoteFiles();
    note("restored", files.contentAsArray());
    const auto sink = std::make_shared<SavingSink>([&files] {
        auto jobs = files.contentAsArray();
        std::erase_if(jobs, [](const auto& job) {
            return job->currentState() == rf_state_succeeded || !job->supportsRecovery();
        });
        note("saving", jobs);
    });
    Log::attach(sink);

    int status = 0;
    const Interrupt interrupt([&] {
        status = 130;
        controller.quit();
    });
    const auto quitWhenDone = [&] {
        if (queue.isDone())
            controller.quit();
    };
    QObject::connect(&files, &RemoteFilesArrayController::childCompletedChanged, &controller, quitWhenDone,
                     Qt::QueuedConnection);
    QObject::connect(&controller, &QueueController::ended, [&] { QCoreApplication::exit(status); });
    addMissing(controller, arguments, environment);
    controller.toggleAutorun();
    QMetaObject::invokeMethod(&controller, quitWhenDone, Qt::QueuedConnection);
    QCoreApplication::exec();
    Log::detach(sink);
    return status;
}

} // namespace

int main(int argc, char** argv) {
    const auto arguments = readArguments({argv, static_cast<std::size_t>(argc)});
    if (!arguments)
        return 2;
    QCoreApplication application(argc, argv);
    const Runloop::Main mainThread;
    installLocalizedTexts();
    LiveCurlSegment::startUp();
    const int status = run(*arguments);
    LiveCurlSegment::cleanup();
    return status;
}
