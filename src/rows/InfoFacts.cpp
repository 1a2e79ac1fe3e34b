#include "rows/InfoFacts.h"

#include <algorithm>
#include <cctype>

#include <QDateTime>
#include <QLocale>

#include "base/Localized.h"
#include "base/Readable.h"
#include "rows/RowTexts.h"

namespace tarvo {

namespace {

std::string dateOrNothing(const std::optional<WallTime>& date) {
    return date ? dateText(*date) : std::string();
}

std::string sizeText(const RemoteFile& job) {
    const std::int64_t done = job.totalBytesDownloaded();
    if (job.fileSize() < 1)
        return done < 1 ? std::string() : localized("tr.info.size-so-far", {readableSize(done)});
    const std::string size = readableSize(job.fileSize());
    return done >= job.fileSize() ? size : localized("tr.info.size-of", {readableSize(done), size});
}

bool isTransferring(const RemoteFile& job) {
    return job.currentState() == rf_state_running || job.currentState() == rf_state_paused;
}

std::string connectionsText(const RemoteFile& job, const std::optional<SegmentsSnapshot>& segments) {
    const std::string wanted = std::to_string(job.userRequestedPartitions());
    if (!isTransferring(job) || !segments)
        return wanted;
    const std::string limited = connectionsText(std::ssize(segments->connections),
                                                job.userRequestedPartitions(), job.connectionLimit());
    if (!limited.empty())
        return limited;
    return localized("tr.info.connections-of", {std::to_string(segments->connections.size()), wanted});
}

std::string timeLeftText(const RemoteFile& job) {
    const bool isKnown =
        job.currentState() == rf_state_running && job.fileSize() > 0 && job.bytesPerSecond() > 0;
    return isKnown ? durationText(Seconds(job.secondsRemaining())) : std::string();
}

std::string refererText(const RemoteFile& job) {
    const auto link = job.link();
    return link && link->referer ? link->referer->withoutPassword() : std::string();
}

} // namespace

std::string dateText(const WallTime& date) {
    const auto moment = QDateTime::fromSecsSinceEpoch(static_cast<qint64>(date.time_since_epoch().count()));
    return QLocale().toString(moment, QLocale::ShortFormat).toStdString();
}

std::string versionText(const Validator& validator) {
    std::string changed = validator.lastModified;
    const bool isSeconds =
        !changed.empty() && changed.size() < 12 &&
        std::all_of(changed.begin(), changed.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
    if (isSeconds)
        changed = dateText(WallTime(std::chrono::seconds(std::stoll(changed))));
    if (!changed.empty())
        changed = localized("tr.info.changed", {changed});
    const bool hasBoth = !validator.entityTag.empty() && !changed.empty();
    return validator.entityTag + (hasBoth ? "\n" : "") + changed;
}

std::vector<InfoFact> infoFacts(const RemoteFile& job, const std::optional<SegmentsSnapshot>& segments,
                                const std::string& eachConnection) {
    const auto url = job.url();
    const auto& error = job.error();
    const bool runs = job.currentState() == rf_state_running;
    return {
        {"tr.info.address", url ? url->withoutPassword() : std::string()},
        {"tr.info.folder", job.basePath()},
        {"tr.info.size", sizeText(job)},
        {"tr.info.connections", connectionsText(job, segments)},
        {"tr.info.speed", runs ? readableSpeed(job.bytesPerSecond()) : std::string()},
        {"tr.info.time-left", timeLeftText(job)},
        {"tr.info.each-connection", runs ? eachConnection : std::string()},
        {"tr.info.attempts", job.attemptNumber > 0 ? std::to_string(job.attemptNumber) : std::string()},
        {"tr.info.error", error ? error->sentence() : std::string()},
        {"tr.info.referrer", refererText(job)},
        {"tr.info.version", segments ? versionText(segments->validator) : std::string()},
        {"tr.info.added", dateOrNothing(job.addedDate())},
        {"tr.info.finished", dateOrNothing(job.finishedDate())},
    };
}

} // namespace tarvo
