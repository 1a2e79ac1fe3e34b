#include "queue/SavedRows.h"

#include <unordered_map>
#include <utility>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>

#include "base/Disk.h"

namespace tarvo {

namespace {

constexpr QLatin1String kFolders("folders");
constexpr QLatin1String kRows("rows");

enum Column : qsizetype {
    kAddress = 0,
    kFolder = 1,
    kConnectionsOrBundle = 2,
    kReferrerOrSize = 3,
    kName = 4,
    kAddedOfBundle = 4,
    kAddedOfLink = 5,
    kConnectionsOfBundle = 5,
    kChecksum = 6,
};

constexpr qint64 kLastSecond = 253'402'300'799; // of the year 9999

/// Paths are bytes, JSON holds characters.
QString packed(const std::string& path) {
    return QString::fromLatin1(QByteArray::fromStdString(path).toPercentEncoding(" /()[]+,&@=!'"));
}

std::string unpacked(const QString& text) {
    return QByteArray::fromPercentEncoding(text.toUtf8()).toStdString();
}

QString qt(const std::string& text) {
    return QString::fromStdString(text);
}

bool isPath(const std::string& path) {
    return path.starts_with('/') && path.find('\0') == std::string::npos;
}

bool isName(const std::string& name) {
    return !name.empty() && name.find('/') == std::string::npos && name.find('\0') == std::string::npos;
}

/// Gives each folder its number.
class Folders {
public:
    qint64 numberOf(const std::string& folder) {
        const auto [entry, isNew] = m_numbers.try_emplace(folder, static_cast<qint64>(m_numbers.size()));
        if (isNew)
            m_packed.append(packed(folder));
        return entry->second;
    }

    const QJsonArray& all() const { return m_packed; }

private:
    std::unordered_map<std::string, qint64> m_numbers;
    QJsonArray m_packed;
};

qint64 secondsOf(const WallTime& date) {
    return static_cast<qint64>(date.time_since_epoch().count());
}

std::optional<WallTime> dateIn(const QJsonValue& value) {
    const qint64 seconds = value.toInteger();
    if (seconds < 1 || seconds > kLastSecond)
        return std::nullopt;
    return WallTime(std::chrono::seconds(seconds));
}

QJsonArray encoded(const SavedRow& row, Folders& folders) {
    const auto& link = row.link;
    QJsonArray columns{qt(link.url.absoluteString())};
    if (!row.bundle.empty()) {
        columns.append(folders.numberOf(folderOf(row.bundle)));
        columns.append(packed(nameOf(row.bundle)));
        columns.append(static_cast<qint64>(row.fileSize));
        columns.append(link.added ? QJsonValue(secondsOf(*link.added)) : QJsonValue());
        columns.append(static_cast<qint64>(link.connections));
        return columns;
    }
    columns.append(folders.numberOf(link.folder));
    columns.append(static_cast<qint64>(link.connections));
    const bool hasMore = link.name || link.added || link.checksum;
    if (link.referer || hasMore)
        columns.append(link.referer ? QJsonValue(qt(link.referer->absoluteString())) : QJsonValue());
    if (hasMore)
        columns.append(link.name ? QJsonValue(packed(*link.name)) : QJsonValue());
    if (link.added || link.checksum)
        columns.append(link.added ? QJsonValue(secondsOf(*link.added)) : QJsonValue());
    if (link.checksum)
        columns.append(qt(link.checksum->text()));
    return columns;
}

std::optional<Url> addressIn(const QJsonValue& value) {
    auto url = Url::parse(value.toString().toStdString());
    return url && isTransferScheme(url->scheme()) ? url : std::nullopt;
}

std::optional<SavedRow> decoded(const QJsonArray& columns, const std::vector<std::string>& folders) {
    const auto url = addressIn(columns.at(kAddress));
    const qint64 folder = columns.at(kFolder).toInteger(-1);
    if (!url || folder < 0 || static_cast<std::size_t>(folder) >= folders.size())
        return std::nullopt;
    SavedRow row{{*url, folders[static_cast<std::size_t>(folder)]}};
    if (!isPath(row.link.folder))
        return std::nullopt;
    if (columns.at(kConnectionsOrBundle).isString()) {
        const std::string name = unpacked(columns.at(kConnectionsOrBundle).toString());
        row.bundle = (row.link.folder == "/" ? "" : row.link.folder) + "/" + name;
        row.fileSize = columns.at(kReferrerOrSize).toInteger();
        row.link.added = dateIn(columns.at(kAddedOfBundle));
        row.link.connections = columns.at(kConnectionsOfBundle).toInteger(0);
        return isName(name) ? std::optional(row) : std::nullopt;
    }
    row.link.connections = columns.at(kConnectionsOrBundle).toInteger(1);
    row.link.referer = addressIn(columns.at(kReferrerOrSize));
    if (columns.at(kName).isString()) // the job cleans it, as every name
        row.link.name = unpacked(columns.at(kName).toString());
    row.link.added = dateIn(columns.at(kAddedOfLink));
    row.link.checksum = Checksum::parse(columns.at(kChecksum).toString().toStdString());
    return row;
}

} // namespace

std::string encodedRows(const std::vector<SavedRow>& rows) {
    Folders folders;
    QJsonArray all;
    for (const auto& row : rows)
        all.append(encoded(row, folders));
    const QJsonObject object{{kFolders, folders.all()}, {kRows, all}};
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString();
}

SavedRows decodedRows(std::string_view bytes) {
    const auto document =
        QJsonDocument::fromJson(QByteArray(bytes.data(), static_cast<qsizetype>(bytes.size())));
    const QJsonObject object = document.object();
    SavedRows saved{{}, object[kFolders].isArray() && object[kRows].isArray()};
    std::vector<std::string> folders;
    const QJsonArray named = object[kFolders].toArray();
    for (const auto& folder : named)
        folders.push_back(unpacked(folder.toString()));
    const QJsonArray all = object[kRows].toArray();
    for (const auto& each : all) {
        if (auto row = decoded(each.toArray(), folders))
            saved.rows.push_back(std::move(*row));
        else
            saved.isWhole = false;
    }
    return saved;
}

} // namespace tarvo
