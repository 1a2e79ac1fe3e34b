#include "ui/FileOpener.h"

#include <algorithm>
#include <iterator>

#include <QDesktopServices>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QPointer>
#include <QUrl>

#include "base/Disk.h"
#include "base/Localized.h"
#include "base/Runloop.h"

namespace tarvo {

namespace {

QUrl urlOf(const std::string& path) {
    return QUrl::fromLocalFile(QString::fromStdString(path));
}

/// Reads the file's beginning.
FileKind kindOf(const std::string& path) {
    const QFileInfo info(QString::fromStdString(path));
    if (!info.exists())
        return {.exists = false, .mimeTypes = {}};
    const QMimeType type = QMimeDatabase().mimeTypeForFile(info);
    FileKind kind{.isExecutable = info.isFile() && info.isExecutable(),
                  .mimeTypes = {type.name().toStdString()}};
    for (const QString& inherited : type.allAncestors())
        kind.mimeTypes.push_back(inherited.toStdString());
    return kind;
}

bool isThere(const std::string& path) {
    return QFileInfo::exists(QString::fromStdString(path));
}

/// The nearest folder above the path that is there.
std::string nearestThere(std::string path) {
    while (path.size() > 1 && !isThere(path))
        path = path.substr(0, std::max<std::size_t>(path.rfind('/'), 1));
    return path;
}

Error notOpened(const std::string& path, std::string_view reasonKey) {
    return Error::tarvo(localized(reasonKey, {path}));
}

} // namespace

FileOpener::FileOpener(AlertPresenter& alerts) : m_alerts(alerts) {
}

/// Runs `task` where it may wait, and what it answers on the main thread, if the object is still there.
void FileOpener::onWorker(std::function<std::function<void()>()> task) {
    m_looks.async([self = QPointer<FileOpener>(this), task = std::move(task)] {
        Runloop::runOnMainLater([self, done = task()] {
            if (self)
                done();
        });
    });
}

void FileOpener::open(const std::vector<std::string>& files) {
    Runloop::assertMain();
    for (const auto& file : files) {
        onWorker([this, file]() -> std::function<void()> {
            return [this, file, opening = howToOpen(kindOf(file))] { openAs(opening, file); };
        });
    }
}

void FileOpener::openAs(Opening opening, const std::string& file) {
    switch (opening) {
    case Opening::open:
        return openNow(file);
    case Opening::missing:
        return m_alerts.presentError(notOpened(file, "tr.open.missing"));
    case Opening::showOnly:
        showInFolder({file});
        return m_alerts.presentError(notOpened(file, "tr.open.program"));
    }
}

void FileOpener::openNow(const std::string& file) {
    if (!QDesktopServices::openUrl(urlOf(file)))
        m_alerts.presentError(notOpened(file, "tr.open.no-program"));
}

void FileOpener::showInFolder(const std::vector<std::string>& paths) {
    Runloop::assertMain();
    if (paths.empty())
        return;
    onWorker([this, paths]() -> std::function<void()> {
        std::vector<std::string> there;
        std::copy_if(paths.begin(), paths.end(), std::back_inserter(there), isThere);
        if (there.empty())
            return [this, folder = folderOf(paths.front())] { openFolder(folder); };
        return [this, there] { askFileManager(there); };
    });
}

void FileOpener::askFileManager(const std::vector<std::string>& paths) {
    QStringList urls;
    for (const auto& path : paths)
        urls << QString::fromLatin1(urlOf(path).toEncoded());
    const auto service = QStringLiteral("org.freedesktop.FileManager1");
    auto call = QDBusMessage::createMethodCall(service, QStringLiteral("/org/freedesktop/FileManager1"),
                                               service, QStringLiteral("ShowItems"));
    call << urls << QString(); // without a startup notification
    m_bus.call(call, *this, [this, first = paths.front()](const QDBusMessage& answer) {
        if (answer.type() == QDBusMessage::ErrorMessage)
            openFolder(folderOf(first));
    });
}

void FileOpener::openFolder(const std::string& folder) {
    Runloop::assertMain();
    onWorker([this, folder]() -> std::function<void()> {
        return [this, there = nearestThere(folder)] { openNow(there); };
    });
}

} // namespace tarvo
