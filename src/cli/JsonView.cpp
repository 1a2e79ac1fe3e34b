#include "cli/JsonView.h"

#include "base/Runloop.h"

#include <QJsonDocument>

namespace tarvo {

void JsonView::started(const DownloadSnapshot& download) {
    write("started", download, {{"connections", static_cast<qint64>(download.connections)}});
}

void JsonView::progress(const std::vector<DownloadSnapshot>& running, const QueueCounts&, TimePoint now) {
    Runloop::assertMain();
    for (const auto& download : m_pace.due(running, now)) {
        const bool isKnown = download.size > 0 && download.speed > 0;
        write("progress", download,
              {{"bytes", static_cast<qint64>(download.bytes)},
               {"speed", static_cast<qint64>(download.speed)},
               {"connections", static_cast<qint64>(download.connections)},
               {"secondsLeft", isKnown ? QJsonValue(download.left.count()) : QJsonValue()}});
    }
}

void JsonView::finished(const DownloadSnapshot& download, const DownloadResult& result) {
    QJsonObject more{{"path", QString::fromStdString(result.path)},
                     {"bytes", static_cast<qint64>(result.bytes)},
                     {"seconds", result.took.count()}};
    if (result.checksumMatched)
        more["checksum"] = "match";
    write("finished", download, more);
}

void JsonView::failed(const DownloadSnapshot& download, const Error& error) {
    write("failed", download,
          {{"error", QString::fromStdString(error.sentence())},
           {"domain", QString::fromStdString(error.domain)},
           {"code", static_cast<qint64>(error.code)}});
}

void JsonView::notice(const std::string& text) {
    Runloop::assertMain();
    m_problems << "tarvo-get: " << text << std::endl;
}

void JsonView::write(const char* event, const DownloadSnapshot& download, QJsonObject more) {
    Runloop::assertMain();
    more["event"] = event;
    more["url"] = QString::fromStdString(download.url);
    more["name"] = QString::fromStdString(download.name);
    more["size"] = download.size < 1 ? QJsonValue() : QJsonValue(static_cast<qint64>(download.size));
    m_output << QJsonDocument(more).toJson(QJsonDocument::Compact).toStdString() << std::endl;
}

} // namespace tarvo
