#include "queue/QueueStateSaver.h"

#include <unordered_set>
#include <utility>

#include <QPointer>

#include "base/KeyedUnarchiver.h"
#include "base/Log.h"
#include "base/Runloop.h"
#include "base/SettingKeys.h"
#include "jobs/CURLRemoteFile.h"

namespace tarvo {

namespace {

constexpr std::string_view kRemoteFilesKey = "remoteFiles";

/// What a job of an archive is called in the log: its bundle.
std::string nameOf(KeyedUnarchiver& job) {
    const bool isEarlierForm = job.contains("bundlePath");
    return (isEarlierForm ? job.decodeString("bundlePath") : job.decodeData("bundleBookmark")).value_or("?");
}

/// Names what is left out. Its absence is no fault of the archive, hence no error.
Result<std::shared_ptr<Archivable>> leftOut(KeyedUnarchiver& job) {
    Log::error("A job of the saved session is left out of the queue: {}", nameOf(job));
    return nullptr;
}

} // namespace

QueueStateSaver::QueueStateSaver(RemoteFilesArrayController& rfac, UserDefaults& defaults,
                                 const JobEnvironment& environment)
    : m_rfac(rfac), m_defaults(defaults), m_environment(environment) {
}

QueueStateSaver::~QueueStateSaver() = default;

void QueueStateSaver::restoreUIState() {
    const std::string session = m_defaults.data(SettingKey::kSavedQueueSession);
    if (session.empty())
        Log::info("No saved session to load RemoteFiles from");
    else if (!restore(session))
        m_unreadableSession = session;
}

/// Answers whether all of it could be read; a job whose bundle is gone counts as read.
bool QueueStateSaver::restore(const std::string& session) {
    const auto opened = KeyedUnarchiver::open(session);
    if (!opened) {
        Log::error("Could not create decoder for remoteFilesKey");
        return false;
    }
    KeyedUnarchiver& unarchiver = **opened;
    unarchiver.registerClass("CURLRemoteFile",
                             [this](KeyedUnarchiver& job) -> Result<std::shared_ptr<Archivable>> {
                                 auto made = CURLRemoteFile::fromArchive(job, m_environment);
                                 return made ? Result<std::shared_ptr<Archivable>>(made) : leftOut(job);
                             });
    bool isWhole = true;
    const auto objects = unarchiver.decodeArray(kRemoteFilesKey, [&isWhole](KeyedUnarchiver& job) {
        isWhole = false; // a kind of job that only another version knows
        return leftOut(job);
    });
    if (!objects) {
        Log::error("Could not decode remoteFilesKey from archive");
        return false;
    }
    if (unarchiver.firstError())
        Log::error("Some jobs are left out of the queue: {}", unarchiver.firstError()->sentence());
    addToQueue(*objects);
    return isWhole && !unarchiver.firstError();
}

void QueueStateSaver::addToQueue(const std::vector<std::shared_ptr<Archivable>>& objects) {
    std::vector<std::shared_ptr<RemoteFile>> jobs;
    std::unordered_set<const Archivable*> known; // a batch stops its duplicates, and one job can't be both
    for (const auto& object : objects) {
        auto job = std::dynamic_pointer_cast<RemoteFile>(object);
        if (known.insert(object.get()).second)
            jobs.push_back(std::move(job));
        else
            Log::warning("The saved session names a job twice: {}", job->description());
    }
    if (const auto added = m_rfac.addRemoteFiles(jobs); !added)
        Log::error("Could not add remote files: {}", added.error().description);
}

void QueueStateSaver::beginSavingStateWhenNeeded() {
    connect(&m_rfac, &RemoteFilesArrayController::contentArraySizeChanged, this,
            &QueueStateSaver::sessionChanged);
    connect(&m_rfac, &RemoteFilesArrayController::allChildStatesChanged, this,
            &QueueStateSaver::sessionChanged);
}

void QueueStateSaver::sessionChanged() {
    if (std::exchange(m_isChanged, true))
        return; // to be saved on the next turn, or as soon as the write under way has ended
    Runloop::runOnNextTurn([saver = QPointer(this)] {
        if (saver && saver->m_isChanged)
            saver->saveUIState();
    });
}

void QueueStateSaver::saveUIState() {
    if (m_isWriting) {
        m_isChanged = true;
        return;
    }
    m_isWriting = true;
    auto ended = [saver = QPointer(this)] {
        if (saver)
            saver->writeHasEnded();
    };
    m_sessionSavingQueue.async([this, session = encodedSession(), ended = std::move(ended)] {
        write(*session);
        Runloop::runOnMainLater(ended);
    });
}

void QueueStateSaver::writeHasEnded() {
    m_isWriting = false;
    if (m_isChanged)
        saveUIState();
}

void QueueStateSaver::finishSaving() {
    m_rfac.disconnect(this);
    if (m_isChanged) {
        const auto session = encodedSession();
        m_sessionSavingQueue.sync([&] { write(*session); });
    } else {
        m_sessionSavingQueue.sync([this] { m_hasFailed = m_hasFailed && !m_defaults.flush(); });
    }
    m_isChanged = false;
}

std::shared_ptr<KeyedArchiver> QueueStateSaver::encodedSession() {
    Log::info("Saving UI State");
    m_isChanged = false;
    std::vector<KeyedArchiver::Object> jobs;
    for (const auto& job : m_rfac.contentAsArray()) {
        if (job->currentState() != rf_state_succeeded && job->supportsRecovery())
            jobs.push_back(job);
    }
    auto session = std::make_shared<KeyedArchiver>(KeyedArchiver::Format::Binary);
    session->encodeArray(kRemoteFilesKey, jobs);
    session->endEncoding();
    return session;
}

/// On the queue.
void QueueStateSaver::write(KeyedArchiver& session) {
    const std::string bytes = session.finish();
    if (!m_hasFailed && bytes == m_defaults.data(SettingKey::kSavedQueueSession))
        return;
    if (!m_unreadableSession.empty()) {
        Log::warning("The saved session could not be read; it is kept in the settings as {}",
                     SettingKey::kSavedQueueSessionUnreadable);
        m_defaults.set(SettingKey::kSavedQueueSessionUnreadable,
                       QByteArray::fromStdString(std::exchange(m_unreadableSession, {})));
    }
    m_defaults.set(SettingKey::kSavedQueueSession, QByteArray::fromStdString(bytes));
    m_hasFailed = !m_defaults.flush();
}

} // namespace tarvo
