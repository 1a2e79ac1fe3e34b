#include "remote/QueueService.h"

#include <set>
#include <unordered_set>

#include <QDBusError>
#include <QDBusMessage>
#include <QDBusMetaType>

#include "base/Localized.h"
#include "base/Log.h"
#include "base/Runloop.h"
#include "platform/ApplicationService.h"
#include "rows/RowMoves.h"
#include "rows/StatusLine.h"

namespace tarvo {

namespace {

constexpr std::chrono::milliseconds kBetweenChanges{250};

QString textOf(const std::string& text) {
    return QString::fromStdString(text);
}

std::vector<RowMove> movesTo(const QString& where, const std::set<int>& rows, int count) {
    if (where == QLatin1String("top"))
        return movesToTop(rows, count);
    if (where == QLatin1String("up"))
        return movesUp(rows, count);
    return where == QLatin1String("down") ? movesDown(rows, count) : movesToBottom(rows, count);
}

} // namespace

QueueService::QueueService(DesktopBus& sessionBus, QueueController& queue, const JobEnvironment& jobs,
                           std::string homeFolder, SettingsReader readSettings)
    : m_sessionBus(sessionBus), m_queue(queue), m_jobs(jobs), m_homeFolder(std::move(homeFolder)),
      m_readSettings(std::move(readSettings)) {
    for (QTimer* timer : {&m_listChange, &m_propertyChange}) {
        timer->setSingleShot(true);
        timer->setInterval(kBetweenChanges);
    }
    connect(&m_listChange, &QTimer::timeout, this, &QueueService::ListChanged);
    connect(&m_propertyChange, &QTimer::timeout, this, &QueueService::tellProperties);
    const auto soon = [this] {
        if (!m_propertyChange.isActive())
            m_propertyChange.start();
    };
    connect(&queue, &QueueController::runStateChanged, this, soon);
    connect(&queue.remoteFiles(), &RemoteFilesArrayController::allChildStatesChanged, this, soon);
    connect(&queue.remoteFiles(), &RemoteFilesArrayController::contentArraySizeChanged, this, soon);
}

void QueueService::registerTypes() {
    registerRowTypes();
    qDBusRegisterMetaType<AddAnswer>();
    qDBusRegisterMetaType<AddAnswers>();
}

void QueueService::start() {
    Runloop::assertMain();
    QDBusConnection bus = m_sessionBus.connection();
    if (!bus.isConnected())
        return;
    registerTypes();
    if (!bus.registerObject(QString::fromLatin1(QueueInterface::kPath), this,
                            QDBusConnection::ExportScriptableContents))
        Log::error("Could not put the queue on the session bus");
}

qlonglong QueueService::speed() const {
    return queueFactsOf(rows(), m_queue.runState()).speed;
}

qlonglong QueueService::bytesLeft() const {
    return queueFactsOf(rows(), m_queue.runState()).bytesLeft;
}

QueueRows QueueService::List() {
    Runloop::assertMain();
    return rowsOf(rows().contentAsArray());
}

AddAnswers QueueService::Add(const QStringList& what, const QVariantMap& options) {
    Runloop::assertMain();
    if (what.size() > ApplicationService::kMostUris) {
        sendErrorReply(QDBusError::LimitsExceeded, textOf(localized("tr.remote.too-many")));
        return {};
    }
    const AddAnswers answers = addFromBus(what, options, m_queue, m_jobs, m_homeFolder);
    setDelayedReply(true);
    m_queue.whenKept([answers, bus = connection(), call = message()](bool kept) {
        bus.send(kept ? call.createReply(QVariant::fromValue(answers))
                      : call.createErrorReply(QueueInterface::kFailed, textOf(localized("tr.err.not-kept"))));
    });
    return {};
}

void QueueService::Start() {
    Runloop::assertMain();
    if (m_queue.runState() != QueueRunState::running)
        m_queue.toggleAutorun();
}

void QueueService::Pause() {
    Runloop::assertMain();
    if (m_queue.runState() == QueueRunState::running)
        m_queue.toggleAutorun();
}

void QueueService::PauseRows(const RowNumberList& rows) {
    if (const auto jobs = jobsOf(rows))
        m_queue.pause(*jobs);
}

void QueueService::ResumeRows(const RowNumberList& rows) {
    if (const auto jobs = jobsOf(rows))
        m_queue.resume(*jobs);
}

void QueueService::RetryRows(const RowNumberList& rows) {
    if (const auto jobs = jobsOf(rows))
        m_queue.reload(*jobs);
}

void QueueService::RemoveRows(const RowNumberList& rows, bool data) {
    const auto jobs = jobsOf(rows);
    if (!jobs)
        return;
    if (!data)
        return m_queue.remove(*jobs);
    setDelayedReply(true);
    m_queue.removeWithDataUnasked(
        *jobs, [bus = connection(), call = message()](const std::optional<Error>& error) {
            bus.send(error ? call.createErrorReply(QueueInterface::kFailed, textOf(error->sentence()))
                           : call.createReply());
        });
}

void QueueService::MoveRows(const RowNumberList& numbers, const QString& where) {
    static const QStringList kPlaces{"top", "up", "down", "bottom"};
    if (!kPlaces.contains(where))
        return sendErrorReply(QDBusError::InvalidArgs, textOf(localized("tr.remote.places")));
    const auto moved = jobsOf(numbers);
    if (!moved)
        return;
    const Jobs all = rows().contentAsArray();
    const std::unordered_set<QueueController::Job> wanted(moved->begin(), moved->end());
    std::set<int> places;
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (wanted.contains(all[i]))
            places.insert(static_cast<int>(i));
    }
    for (const auto& [from, before] : movesTo(where, places, static_cast<int>(all.size()))) {
        Jobs jobs;
        for (const int place : from)
            jobs.push_back(all[static_cast<std::size_t>(place)]);
        auto to = static_cast<std::size_t>(before);
        while (from.contains(static_cast<int>(to)))
            ++to;
        rows().moveInContent(jobs, to < all.size() ? all[to] : nullptr);
    }
}

void QueueService::ReadSettings() {
    Runloop::assertMain();
    setDelayedReply(true);
    m_readSettings([bus = connection(), call = message()] { bus.send(call.createReply()); });
}

void QueueService::Watch() {
    Runloop::assertMain();
    const QString watcher = message().service();
    if (!m_watchers.contains(watcher))
        m_sessionBus.listen(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameOwnerChanged"),
                            watcher, this, SLOT(onNameOwnerChanged(QDBusMessage)));
    m_watchers.insert(watcher);
    if (!m_following)
        follow();
}

void QueueService::Unwatch() {
    Runloop::assertMain();
    forget(message().service());
}

std::optional<QueueService::Jobs> QueueService::jobsOf(const RowNumberList& numbers) {
    Runloop::assertMain();
    Jobs jobs;
    for (const quint64 number : numbers) {
        jobs.push_back(m_numbers.job(number));
        if (jobs.back())
            continue;
        sendErrorReply(QueueInterface::kNoSuchRow,
                       textOf(localized("tr.remote.no-such-row", {std::to_string(number)})));
        return std::nullopt;
    }
    return jobs;
}

QueueRows QueueService::rowsOf(const Jobs& jobs) {
    const RowMoment moment{m_jobs.clock.now(), m_queue.runState() == QueueRunState::running};
    QueueRows all;
    all.reserve(static_cast<qsizetype>(jobs.size()));
    for (const auto& job : jobs)
        all.push_back(rowOf(*job, m_numbers.of(job), moment));
    return all;
}

/// D-Bus Specification, "org.freedesktop.DBus.NameOwnerChanged": the name, its old and its new owner.
void QueueService::onNameOwnerChanged(const QDBusMessage& change) {
    if (change.arguments().value(2).toString().isEmpty())
        forget(change.arguments().value(0).toString());
}

void QueueService::forget(const QString& watcher) {
    m_watchers.remove(watcher);
    if (m_watchers.isEmpty()) {
        delete m_following;
        m_following = nullptr;
    }
}

void QueueService::follow() {
    m_following = new QObject(this);
    const auto tell = [this](const Jobs& jobs) { Q_EMIT RowsChanged(rowsOf(jobs)); };
    connect(&rows(), &RemoteFilesArrayController::jobsChanged, m_following, tell);
    connect(&rows(), &RemoteFilesArrayController::jobReplaced, m_following,
            [tell](const QueueController::Job&, const QueueController::Job& fresh) { tell({fresh}); });
    connect(&rows(), &RemoteFilesArrayController::contentArraySizeChanged, m_following, [this] {
        if (!m_listChange.isActive())
            m_listChange.start();
    });
    connect(&m_queue, &QueueController::ticked, m_following, [this] { tellRunning(); });
}

/// What stands still is told by no change: its speed falls, and its time grows.
void QueueService::tellRunning() {
    Jobs running;
    rows().content().forEachIn({rf_state_running}, [&](const QueueController::Job& job) {
        running.push_back(job);
        return true;
    });
    if (!running.empty())
        Q_EMIT RowsChanged(rowsOf(running));
}

/// org.freedesktop.DBus.Properties.PropertiesChanged (D-Bus Specification, "Standard Interfaces"). Speed and
/// what is left change all the time, and are not told.
void QueueService::tellProperties() {
    QDBusConnection bus = m_sessionBus.connection();
    QVariantMap now{{"RunState", runState()}, {"Waiting", waiting()}, {"Running", running()},
                    {"Paused", paused()},     {"Failed", failed()},   {"Finished", finished()}};
    QVariantMap changed;
    for (auto each = now.cbegin(); each != now.cend(); ++each) {
        if (m_toldProperties.value(each.key()) != each.value())
            changed.insert(each.key(), each.value());
    }
    if (!bus.isConnected() || changed.isEmpty())
        return;
    m_toldProperties = now;
    auto signal = QDBusMessage::createSignal(QueueInterface::kPath, "org.freedesktop.DBus.Properties",
                                             "PropertiesChanged");
    signal << QueueInterface::kName << changed << QStringList();
    bus.send(signal);
}

} // namespace tarvo
