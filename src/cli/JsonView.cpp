#include "cli/JsonView.h"

#include "base/Runloop.h"
#include "base/Text.h"

#include <QJsonDocument>

namespace tarvo {

namespace {

/// RFC 8259 lets these stand as they are, but a terminal would obey them: DEL and the control characters of
/// two bytes.
QByteArray escaped(const QByteArray& json) {
    QByteArray text;
    text.reserve(json.size());
    for (qsizetype at = 0; at < json.size(); ++at) {
        const auto byte = static_cast<unsigned char>(json[at]);
        const auto next = at + 1 < json.size() ? static_cast<unsigned char>(json[at + 1]) : 0U;
        if (byte == 0x7f)
            text += "\\u007f";
        else if (byte == 0xc2 && next >= 0x80 && next <= 0x9f)
            text += "\\u00" + QByteArray::number(static_cast<int>(json[++at]) & 0xff, 16);
        else
            text += json[at];
    }
    return text;
}

QJsonObject membersOf(const Error& error) {
    return {{"error", QString::fromStdString(error.sentence())},
            {"domain", QString::fromStdString(error.domain)},
            {"code", static_cast<qint64>(error.code)}};
}

/// By the server or by the user, over all downloads from it.
QJsonValue allowed(const DownloadSnapshot& download) {
    const auto& limit = download.connectionLimit;
    return limit ? QJsonValue(static_cast<qint64>(limit->most)) : QJsonValue();
}

} // namespace

void JsonView::started(const DownloadSnapshot& download) {
    write("started", download,
          {{"connections", static_cast<qint64>(download.connections)},
           {"resumed", static_cast<qint64>(download.bytes)}});
}

void JsonView::progress(const std::vector<DownloadSnapshot>& running, const QueueCounts&, TimePoint now) {
    Runloop::assertMain();
    for (const auto& download : m_pace.due(running, now)) {
        const bool isKnown = download.size > 0 && download.speed > 0;
        QJsonObject more{{"bytes", static_cast<qint64>(download.bytes)},
                         {"speed", static_cast<qint64>(download.speed)},
                         {"connections", static_cast<qint64>(download.connections)},
                         {"connectionsWanted", static_cast<qint64>(download.wantedConnections)},
                         {"connectionsAllowed", allowed(download)},
                         {"secondsLeft", isKnown ? QJsonValue(download.left.count()) : QJsonValue()}};
        if (download.verified)
            more["verified"] = static_cast<qint64>(*download.verified);
        write("progress", download, more);
    }
}

void JsonView::finished(const DownloadSnapshot& download, const DownloadResult& result) {
    QJsonObject more{{"path", QString::fromStdString(result.path)},
                     {"size", static_cast<qint64>(result.bytes)}, // known now, if it was not before
                     {"bytes", static_cast<qint64>(result.bytes)},
                     {"fetched", static_cast<qint64>(result.fetched)},
                     {"seconds", result.took.count()}};
    if (result.checksumMatched)
        more["checksum"] = "match";
    write("finished", download, more);
}

void JsonView::present(const DownloadSnapshot& download, const DownloadResult& result) {
    QJsonObject more{{"path", QString::fromStdString(result.path)},
                     {"size", static_cast<qint64>(result.bytes)}};
    if (result.checksumMatched)
        more["checksum"] = "match";
    write("present", download, more);
}

void JsonView::failed(const DownloadSnapshot& download, const Error& error) {
    write("failed", download, membersOf(error));
}

void JsonView::retrying(const DownloadSnapshot& download, const Error& cause, Seconds delay,
                        std::int64_t left) {
    QJsonObject more = membersOf(cause);
    more["seconds"] = delay.count();
    more["left"] = static_cast<qint64>(left);
    write("retry", download, more);
    ProgressView::retrying(download, cause, delay, left);
}

void JsonView::interrupted(std::size_t saved, const std::string& bundle) {
    write({{"event", "interrupted"}, {"saved", static_cast<qint64>(saved)}});
    ProgressView::interrupted(saved, bundle);
}

void JsonView::ended(const RunSummary& summary) {
    write({{"event", "summary"},
           {"total", static_cast<qint64>(summary.counts.total)},
           {"finished", static_cast<qint64>(summary.counts.finished)},
           {"present", static_cast<qint64>(summary.present)},
           {"failed", static_cast<qint64>(summary.counts.failed)},
           {"fetched", static_cast<qint64>(summary.counts.bytes)},
           {"seconds", summary.took.count()}});
}

void JsonView::refused(const BadLine& line) {
    QJsonObject event = membersOf(line.reason);
    event["event"] = "failed";
    event["url"] = QString::fromStdString(line.text);
    event["name"] = "";
    event["size"] = QJsonValue();
    event["list"] = QString::fromStdString(line.list);
    event["line"] = static_cast<qint64>(line.number);
    write(event);
}

void JsonView::notice(const std::string& text) {
    Runloop::assertMain();
    m_problems << "tarvo-get: " << withoutControls(text) << std::endl;
}

void JsonView::write(const char* event, const DownloadSnapshot& download, QJsonObject more) {
    more["event"] = event;
    more["url"] = QString::fromStdString(download.url);
    more["name"] = QString::fromStdString(download.name);
    if (!more.contains("size"))
        more["size"] = download.size < 1 ? QJsonValue() : QJsonValue(static_cast<qint64>(download.size));
    write(more);
}

void JsonView::write(const QJsonObject& event) {
    Runloop::assertMain();
    m_output << escaped(QJsonDocument(event).toJson(QJsonDocument::Compact)).toStdString() << std::endl;
}

} // namespace tarvo
