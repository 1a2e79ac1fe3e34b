#include "browser/PageDownloads.h"

#include <algorithm>
#include <utility>
#include <vector>

#include <QFile>
#include <QUrl>

#include "browserlink/MessageLines.h"

namespace tarvo {

namespace {

constexpr qint64 kBetweenTellingsMs = 200;

/// A message is to stay small whatever a page comes up with.
constexpr qsizetype kLongestName = 1024;
constexpr qsizetype kLongestAddress = 16 * 1024;
constexpr qsizetype kLongestOther = 256;

bool isOfWeb(const QUrl& url) {
    return url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https");
}

/// An address of the web stands whole or not at all; of others, which may hold a whole file, the beginning is
/// enough to name them.
std::string addressOf(const QUrl& url) {
    const QByteArray address = url.toEncoded();
    if (!isOfWeb(url))
        return address.left(kLongestOther).toStdString();
    return address.size() <= kLongestAddress ? address.toStdString() : std::string();
}

} // namespace

void PageDownloads::begin(QWebEngineDownloadRequest& request, const Circumstances& from) {
    const std::int64_t download = ++m_count;
    request.setDownloadDirectory(QFile::decodeName(QByteArray::fromStdString(from.folder)));
    request.setDownloadFileName(QString::fromStdString(downloadFile(m_stem, download)));
    Running& running = m_running.emplace(download, Running{&request, {}, {}, from.held, {}}).first->second;
    running.told.start();
    connect(&request, &QWebEngineDownloadRequest::receivedBytesChanged, this,
            [this, download] { tellProgress(download); });
    connect(&request, &QWebEngineDownloadRequest::isFinishedChanged, this,
            [this, download] { tellEnd(download); });
    connect(&request, &QObject::destroyed, this, [this, download] {
        m_running.at(download).request = nullptr;
        tellEnd(download);
    });
    running.began = {.download = download,
                     .visit = from.visit,
                     .url = addressOf(request.url()),
                     .page = isOfWeb(from.page) ? addressOf(from.page) : std::string(),
                     .method = from.method.left(kLongestOther).toStdString(),
                     .name = request.suggestedFileName().left(kLongestName).toStdString(),
                     .mimeType = request.mimeType().left(kLongestOther).toStdString(),
                     .folder = from.folder,
                     .size = std::max<qint64>(request.totalBytes(), 0)};
    if (from.held == 0)
        Q_EMIT told(running.began);
    request.accept();
}

void PageDownloads::cancel(std::int64_t download) {
    const auto found = m_running.find(download);
    if (found != m_running.end() && found->second.request)
        found->second.request->cancel();
}

void PageDownloads::release(std::int64_t held, bool areWanted) {
    std::vector<std::int64_t> released;
    for (const auto& [download, running] : m_running)
        if (running.held == held)
            released.push_back(download);
    for (const std::int64_t download : released) {
        Running& running = m_running.at(download);
        running.held = 0;
        if (areWanted)
            Q_EMIT told(running.began);
        if (const auto end = running.end; end && areWanted)
            finish(download, *end);
        else if (!areWanted)
            drop(download);
    }
}

/// Of one that the application has not heard of.
void PageDownloads::drop(std::int64_t download) {
    const auto dropped = m_running.extract(download);
    if (auto* request = dropped.mapped().request) {
        request->disconnect(this);
        request->cancel();
        request->deleteLater();
    }
    QFile::remove(QFile::decodeName(
        QByteArray::fromStdString(dropped.mapped().began.folder + "/" + downloadFile(m_stem, download))));
    if (m_running.empty())
        Q_EMIT lastEnded();
}

void PageDownloads::tellProgress(std::int64_t download) {
    const auto found = m_running.find(download);
    if (found == m_running.end() || !found->second.request || found->second.held != 0 ||
        found->second.told.elapsed() < kBetweenTellingsMs)
        return;
    found->second.told.restart();
    const auto& request = *found->second.request;
    Q_EMIT told(DownloadProgress{.download = download,
                                 .received = std::max<qint64>(request.receivedBytes(), 0),
                                 .size = std::max<qint64>(request.totalBytes(), 0)});
}

void PageDownloads::tellEnd(std::int64_t download) {
    const auto found = m_running.find(download);
    if (found == m_running.end())
        return;
    DownloadEnded end;
    end.download = download;
    if (auto* request = std::exchange(found->second.request, nullptr)) {
        end.complete = request->state() == QWebEngineDownloadRequest::DownloadCompleted;
        end.received = std::max<qint64>(request->receivedBytes(), 0);
        end.reason = request->interruptReasonString().left(kLongestOther).toStdString();
        request->disconnect(this);
        request->deleteLater();
    }
    if (found->second.held != 0)
        found->second.end = end;
    else
        finish(download, end);
}

void PageDownloads::finish(std::int64_t download, const DownloadEnded& end) {
    m_running.erase(download);
    Q_EMIT told(end);
    if (m_running.empty())
        Q_EMIT lastEnded();
}

} // namespace tarvo
