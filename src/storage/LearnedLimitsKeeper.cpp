#include "storage/LearnedLimitsKeeper.h"

#include <algorithm>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "base/Log.h"
#include "base/Settings.h"
#include "base/StateFolder.h"

namespace tarvo {

namespace {

constexpr std::int64_t kLongestFile = 256 * 1024;
constexpr qsizetype kLongestHost = 512;

std::optional<LearnedLimit> limitOf(const QJsonObject& object) {
    const QString host = object["host"].toString();
    const qint64 connections = object["connections"].toInteger();
    const qint64 at = object["at"].toInteger(-1);
    constexpr qint64 latest = 1LL << 40;
    const bool isSound = !host.isEmpty() && host.size() <= kLongestHost && connections >= 1 &&
                         connections <= kMostConnectionsPerHost && at >= 0 && at < latest;
    if (!isSound)
        return std::nullopt;
    return LearnedLimit{host.toStdString(), connections, WallTime(std::chrono::seconds(at))};
}

} // namespace

std::string textOfLimits(const std::vector<LearnedLimit>& limits) {
    QJsonArray hosts;
    for (const LearnedLimit& each : limits)
        hosts.append(QJsonObject{{"host", QString::fromStdString(each.host)},
                                 {"connections", static_cast<qint64>(each.connections)},
                                 {"at", static_cast<qint64>(each.at.time_since_epoch().count())}});
    return QJsonDocument(QJsonObject{{"hosts", hosts}}).toJson().toStdString();
}

std::optional<std::vector<LearnedLimit>> limitsOfText(std::string_view text) {
    const QByteArray bytes(text.data(), static_cast<qsizetype>(text.size()));
    const QJsonValue hosts = QJsonDocument::fromJson(bytes).object()["hosts"];
    if (!hosts.isArray())
        return std::nullopt;
    std::vector<LearnedLimit> limits;
    for (const auto& each : hosts.toArray()) {
        const auto limit = limitOf(each.toObject());
        if (!limit)
            return std::nullopt;
        limits.push_back(*limit);
    }
    return limits;
}

std::vector<LearnedLimit> newestOf(std::vector<LearnedLimit> some, const std::vector<LearnedLimit>& others) {
    some.insert(some.end(), others.begin(), others.end());
    std::stable_sort(some.begin(), some.end(),
                     [](const LearnedLimit& a, const LearnedLimit& b) { return a.at > b.at; });
    std::vector<LearnedLimit> newest;
    for (LearnedLimit& each : some) {
        const bool isThere = std::any_of(newest.begin(), newest.end(),
                                         [&](const LearnedLimit& known) { return known.host == each.host; });
        if (!isThere && newest.size() < HostConnections::kMostKept)
            newest.push_back(std::move(each));
    }
    return newest;
}

LearnedLimitsKeeper::LearnedLimitsKeeper(std::shared_ptr<HostConnections> hosts, std::string file, Disk& disk)
    : m_hosts(std::move(hosts)), m_file(std::move(file)), m_disk(disk) {
    m_hosts->setObserver([this] { m_queue.async([this] { write(); }); });
    m_queue.async([this] { m_hosts->restore(read()); });
}

LearnedLimitsKeeper::~LearnedLimitsKeeper() {
    m_hosts->setObserver({});
}

std::string LearnedLimitsKeeper::standardFile() {
    return stateFolder() + "/connection-limits.json";
}

std::vector<LearnedLimit> LearnedLimitsKeeper::read() {
    if (!Disk::exists(m_file))
        return {};
    const auto text = m_disk.readFile(m_file, kLongestFile);
    auto limits = text ? limitsOfText(*text) : std::nullopt;
    if (!limits)
        Log::warning("What servers allow is learned anew, for it can't be read from {}", m_file);
    return std::move(limits).value_or(std::vector<LearnedLimit>());
}

/// What is older than it is kept is dropped by those who read it.
void LearnedLimitsKeeper::write() {
    auto written = m_disk.makeFolders(folderOf(m_file));
    if (written)
        written = m_disk.replaceFile(m_file, textOfLimits(newestOf(m_hosts->learned(), read())));
    if (!written)
        Log::warning("What servers allow could not be kept: {}", written.error().description);
}

} // namespace tarvo
