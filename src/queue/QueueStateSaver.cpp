#include "queue/QueueStateSaver.h"

#include <algorithm>
#include <unordered_map>
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
constexpr std::size_t kBytesPerMs = 100; // of what is written while no caller waits for it

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
    m_delay.setSingleShot(true);
    m_delay.setInterval(kDelayMs);
    connect(&m_delay, &QTimer::timeout, this, &QueueStateSaver::saveUIState);
}

QueueStateSaver::~QueueStateSaver() = default;

void QueueStateSaver::restoreUIState() {
    Runloop::assertMain();
    const std::string session = m_defaults.data(SettingKey::kSavedQueueSession);
    const std::string kept = m_defaults.data(SettingKey::kSavedQueueLinks);
    const SavedRows saved = kept.empty() ? SavedRows() : decodedRows(kept);
    if (!saved.isWhole) {
        Log::error("Some of the saved queue's addresses can't be read");
        m_unreadableRows = kept;
    }
    Jobs fromSession;
    if (session.empty())
        Log::info("No saved session to load RemoteFiles from");
    else if (!restoreSession(session, saved.rows, fromSession))
        m_unreadableSession = session;
    addToQueue(inOrder(saved.rows, fromSession));
}

/// Answers whether all of it could be read; a job whose bundle is gone counts as read.
bool QueueStateSaver::restoreSession(const std::string& session, const std::vector<SavedRow>& rows,
                                     Jobs& jobs) {
    const auto opened = KeyedUnarchiver::open(session);
    if (!opened) {
        Log::error("Could not create decoder for remoteFilesKey");
        return false;
    }
    std::unordered_map<std::string_view, const SavedRow*> rowOf;
    for (const auto& row : rows)
        rowOf.emplace(row.bundle, &row);
    KeyedUnarchiver& unarchiver = **opened;
    unarchiver.registerClass("CURLRemoteFile",
                             [&](KeyedUnarchiver& job) -> Result<std::shared_ptr<Archivable>> {
                                 auto origin = decodeOrigin(job, m_environment.disk);
                                 if (!origin)
                                     return leftOut(job);
                                 const auto row = rowOf.find(nameOf(job));
                                 if (row != rowOf.end())
                                     origin->added = row->second->link.added;
                                 if (row != rowOf.end() && row->second->link.connections > 0)
                                     origin->facts.choosePartitions(row->second->link.connections);
                                 if (row != rowOf.end() && origin->url &&
                                     isSameButForPassword(*origin->url, row->second->link.url))
                                     origin->url = row->second->link.url;  // which has the password
                                 if (!origin->url && row != rowOf.end()) { // its bundle can't be read now
                                     origin->url = row->second->link.url;
                                     origin->fileSize = row->second->fileSize;
                                 }
                                 return CURLRemoteFile::make(*origin, m_environment);
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
    for (const auto& object : *objects)
        jobs.push_back(std::dynamic_pointer_cast<RemoteFile>(object));
    return isWhole && !unarchiver.firstError();
}

/// The jobs of the session and those that are begun anew. An address that the session has too comes from
/// there, with all that is on disk.
QueueStateSaver::Jobs QueueStateSaver::inOrder(const std::vector<SavedRow>& rows,
                                               const Jobs& fromSession) const {
    std::unordered_map<std::string, std::shared_ptr<RemoteFile>> byAddress;
    for (const auto& job : fromSession) {
        if (job->url())
            byAddress.emplace(job->identity(), job);
    }
    Jobs jobs;
    std::unordered_set<const RemoteFile*> placed;
    std::unordered_set<std::string_view> begun;
    for (const auto& row : rows) {
        const std::string& address = row.link.url.absoluteString();
        const auto known = byAddress.find(address);
        if (known != byAddress.end() && placed.insert(known->second.get()).second)
            jobs.push_back(known->second);
        else if (known == byAddress.end() && row.bundle.empty() && begun.insert(address).second)
            jobs.push_back(CURLRemoteFile::make(originOfLink(row.link), m_environment));
    }
    for (const auto& job : fromSession) {
        if (!placed.contains(job.get()))
            jobs.push_back(job);
    }
    return jobs;
}

void QueueStateSaver::addToQueue(const Jobs& jobs) {
    Jobs each;
    std::unordered_set<const RemoteFile*> known; // a batch stops its duplicates, and one job can't be both
    for (const auto& job : jobs) {
        if (known.insert(job.get()).second)
            each.push_back(job);
        else
            Log::warning("The saved session names a job twice: {}", job->description());
    }
    if (const auto added = m_rfac.addRemoteFiles(each); !added)
        Log::error("Could not add remote files: {}", added.error().description);
}

void QueueStateSaver::beginSavingStateWhenNeeded() {
    Runloop::assertMain();
    connect(&m_rfac, &RemoteFilesArrayController::contentArraySizeChanged, this,
            &QueueStateSaver::sessionChanged);
    connect(&m_rfac, &RemoteFilesArrayController::allChildStatesChanged, this,
            &QueueStateSaver::sessionChanged);
}

void QueueStateSaver::sessionChanged() {
    Runloop::assertMain();
    m_isChanged = true;
    if (!m_isWriting && !m_delay.isActive())
        m_delay.start();
}

void QueueStateSaver::saveUIState() {
    Runloop::assertMain();
    if (m_isWriting) {
        m_isUrgent = m_isChanged = true;
        return;
    }
    m_delay.stop();
    m_isWriting = true;
    m_isUrgent = false;
    m_beingSaved = std::exchange(m_waiting, {});
    m_sessionSavingQueue.async([this, saver = QPointer(this), picture = picture()] {
        const bool saved = write(*picture);
        Runloop::runOnMainLater([saver, saved, bytes = picture->bytes] {
            if (saver)
                saver->writeHasEnded(saved, bytes);
        });
    });
}

void QueueStateSaver::whenSaved(std::function<void(bool saved)> done) {
    Runloop::assertMain();
    m_waiting.push_back(std::move(done));
    if (!std::exchange(m_isUrgent, true) && !m_isWriting)
        Runloop::runOnNextTurn([saver = QPointer(this)] { // with others that come in this one
            if (saver && saver->m_isUrgent)
                saver->saveUIState();
        });
}

void QueueStateSaver::writeHasEnded(bool saved, std::size_t bytes) {
    Runloop::assertMain();
    m_isWriting = false;
    m_delay.setInterval(std::clamp(static_cast<int>(bytes / kBytesPerMs), kDelayMs, kMostDelayMs));
    tell(m_beingSaved, saved);
    if (m_isUrgent)
        saveUIState();
    else if (m_isChanged)
        m_delay.start();
}

void QueueStateSaver::tell(Told& told, bool saved) {
    for (const auto& done : std::exchange(told, {}))
        done(saved);
}

void QueueStateSaver::finishSaving() {
    Runloop::assertMain();
    m_rfac.disconnect(this);
    m_delay.stop();
    bool saved = false;
    if (m_isChanged || m_isUrgent) {
        const auto last = picture();
        saved = m_sessionSavingQueue.sync([&] { return write(*last); });
    } else {
        saved = m_sessionSavingQueue.sync([this] {
            m_hasFailed = m_hasFailed && !m_defaults.flush();
            return !m_hasFailed;
        });
    }
    m_isUrgent = m_isChanged = false;
    tell(m_beingSaved, saved);
    tell(m_waiting, saved);
}

std::shared_ptr<QueueStateSaver::Picture> QueueStateSaver::picture() {
    Log::info("Saving UI State");
    m_isChanged = false;
    auto picture = std::make_shared<Picture>();
    std::vector<KeyedArchiver::Object> jobs;
    for (const auto& job : m_rfac.contentAsArray()) {
        if (job->currentState() == rf_state_succeeded)
            continue;
        const bool hasBundle = job->supportsRecovery();
        if (hasBundle)
            jobs.push_back(job);
        if (auto link = job->link())
            picture->rows.push_back({std::move(*link), hasBundle ? job->activeFile().value_or("") : "",
                                     hasBundle ? job->fileSize() : 0});
    }
    picture->session.encodeArray(kRemoteFilesKey, jobs);
    picture->session.endEncoding();
    return picture;
}

/// On the queue. Answers whether the picture is on the disk.
bool QueueStateSaver::write(Picture& picture) {
    const std::string session = picture.session.finish();
    const std::string rows = encodedRows(picture.rows);
    picture.bytes = session.size() + rows.size();
    const auto isNews = [this](std::string_view key, const std::string& bytes) {
        return bytes != m_defaults.data(key);
    };
    const bool isOtherSession = isNews(SettingKey::kSavedQueueSession, session);
    const bool areOtherRows = isNews(SettingKey::kSavedQueueLinks, rows);
    if (!m_hasFailed && !isOtherSession && !areOtherRows)
        return true;
    keepUnreadable(m_unreadableSession, SettingKey::kSavedQueueSessionUnreadable);
    keepUnreadable(m_unreadableRows, SettingKey::kSavedQueueLinksUnreadable);
    if (isOtherSession)
        m_defaults.set(SettingKey::kSavedQueueSession, QByteArray::fromStdString(session));
    if (areOtherRows)
        m_defaults.set(SettingKey::kSavedQueueLinks, QByteArray::fromStdString(rows));
    m_hasFailed = !m_defaults.flush();
    return !m_hasFailed;
}

void QueueStateSaver::keepUnreadable(std::string& unreadable, std::string_view key) {
    if (unreadable.empty())
        return;
    Log::warning("The saved session could not be read; it is kept in the settings as {}", key);
    m_defaults.set(key, QByteArray::fromStdString(std::exchange(unreadable, {})));
}

} // namespace tarvo
