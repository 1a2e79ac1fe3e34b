#include "remote/QueueRow.h"

#include <QDBusMetaType>

#include "base/Runloop.h"
#include "queue/DownloadSnapshot.h"

namespace tarvo {

namespace {

QString textOf(const std::string& text) {
    return QString::fromStdString(text);
}

qint64 secondsOf(WallTime time) {
    return std::chrono::duration_cast<std::chrono::seconds>(time.time_since_epoch()).count();
}

QVariantMap moreOf(const RemoteFile& job, const RowMoment& moment) {
    QVariantMap more{{"folder", textOf(job.basePath())},
                     {"status", textOf(statusText(factsOf(job), moment))}};
    if (const auto& error = job.error())
        more["error"] = textOf(error->sentence());
    if (const auto next = job.nextScheduledRun; next && *next > moment.now)
        more["retryIn"] =
            static_cast<qint64>(std::chrono::duration_cast<std::chrono::seconds>(*next - moment.now).count());
    if (const auto added = job.addedDate())
        more["added"] = secondsOf(*added);
    if (const auto finished = job.finishedDate())
        more["finished"] = secondsOf(*finished);
    if (const auto path = job.finalFilePath(); path && job.currentState() == rf_state_succeeded)
        more["path"] = textOf(*path);
    return more;
}

} // namespace

QString stateName(rf_state_t state) {
    switch (state) {
    case rf_state_initializing:
    case rf_state_ready:
        return QStringLiteral("waiting");
    case rf_state_preparing:
        return QStringLiteral("preparing");
    case rf_state_running:
        return QStringLiteral("running");
    case rf_state_paused:
        return QStringLiteral("paused");
    case rf_state_failed:
        return QStringLiteral("failed");
    case rf_state_stopped:
        return QStringLiteral("stopped");
    case rf_state_succeeded:
        return QStringLiteral("finished");
    }
    return {};
}

QString stateName(QueueRunState state) {
    switch (state) {
    case QueueRunState::stopped:
        return QStringLiteral("stopped");
    case QueueRunState::waiting:
        return QStringLiteral("waiting");
    case QueueRunState::running:
        return QStringLiteral("running");
    case QueueRunState::paused:
        return QStringLiteral("paused");
    }
    return {};
}

QueueRow rowOf(const RemoteFile& job, quint64 number, const RowMoment& moment) {
    Runloop::assertMain();
    const DownloadSnapshot facts = snapshotOf(job);
    const bool isTimeKnown = facts.size > 0 && facts.speed > 0;
    return {number,
            stateName(job.currentState()),
            textOf(facts.name),
            textOf(facts.url),
            static_cast<qint64>(facts.bytes),
            static_cast<qint64>(facts.size),
            static_cast<qint64>(facts.speed),
            static_cast<qint64>(facts.connections),
            isTimeKnown ? static_cast<qint64>(facts.left.count()) : -1,
            moreOf(job, moment)};
}

void registerRowTypes() {
    qDBusRegisterMetaType<QueueRow>();
    qDBusRegisterMetaType<QueueRows>();
}

QDBusArgument& operator<<(QDBusArgument& bus, const QueueRow& row) {
    bus.beginStructure();
    bus << row.number << row.state << row.name << row.url << row.bytes << row.size << row.speed
        << row.connections << row.secondsLeft << row.more;
    bus.endStructure();
    return bus;
}

const QDBusArgument& operator>>(const QDBusArgument& bus, QueueRow& row) {
    bus.beginStructure();
    bus >> row.number >> row.state >> row.name >> row.url >> row.bytes >> row.size >> row.speed >>
        row.connections >> row.secondsLeft >> row.more;
    bus.endStructure();
    return bus;
}

} // namespace tarvo
