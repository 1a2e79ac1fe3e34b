// Feeds the bytes of a saved queue, as its session and as its rows, to its restoration. Each job of the queue
// is there once and has a name that is no path, and none has been stopped on the way. There is a bundle for
// such bytes to name, in a folder that they reach as /proc/self/fd/900.
#include "Fuzz.h"

#include <set>

#include <fcntl.h>
#include <unistd.h>

#include <QCoreApplication>

#include "base/SettingKeys.h"
#include "queue/QueueStateSaver.h"
#include "storage/ProgressFile.h"
#include "support/JobHarness.h"

using namespace tarvo;
using fuzz::require;

namespace {

/// The folder with the bundle, under a name that is the same in every run.
class World : public test::JobHarness {
public:
    World() {
        constexpr int knownDescriptor = 900;
        ::dup2(::open(folder.path().c_str(), O_PATH | O_DIRECTORY), knownDescriptor);
        require(disk.makeFolders(folder.path("a.trdownload")).has_value(), "a bundle can be made");
        const auto record = std::make_shared<ProgressData>(1000);
        const ProgressState state{*Url::parse("http://host/a"), 1000, record, std::nullopt, 4};
        const ProgressFile file(folder.path("a.trdownload/progress"), disk);
        require(file.writeData(state).has_value(), "its record can be written");
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static World harness;
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    for (const auto key : {SettingKey::kSavedQueueSession, SettingKey::kSavedQueueLinks})
        harness.defaults.set(key, bytes); // no bytes are both
    NotificationCenter notifications;
    RemoteFilesArrayController queue(notifications);
    QueueStateSaver saver(queue, harness.defaults, harness.environment);
    saver.restoreUIState();
    std::set<const RemoteFile*> known;
    for (const auto& job : queue.contentAsArray()) {
        require(job && known.insert(job.get()).second, "a job is there once");
        require(job->currentState() != rf_state_stopped, "a job is not stopped");
        require(job->fileName().find('/') == std::string::npos, "a job's name is no path");
        require(!job->description().empty(), "a job can be described");
        require(job->basePath().starts_with('/'), "a job has its folder");
    }
    require(known.size() <= size, "there are no more jobs than bytes");
    QCoreApplication::processEvents();
    return 0;
}
