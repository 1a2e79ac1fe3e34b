#include "ui/LinkHandler.h"

#include <QStandardPaths>

#include "base/Runloop.h"

namespace tarvo {

namespace {

const QString kDesktopFile = QStringLiteral("com.unregistered.Tarvo.desktop");

QStringList linksOfTarvo(const char* verb) {
    return {QString::fromLatin1(verb), QStringLiteral("default-url-scheme-handler"), QStringLiteral("tarvo")};
}

} // namespace

bool LinkHandler::canBeThisProgram() {
    return !QStandardPaths::locate(QStandardPaths::ApplicationsLocation, kDesktopFile).isEmpty();
}

void LinkHandler::ask(const std::function<void(bool areElsewhere)>& answered) {
    Runloop::assertMain();
    run(linksOfTarvo("get"), [answered](bool well, const QString& output) {
        if (well)
            answered(output.trimmed() != kDesktopFile);
    });
}

void LinkHandler::takeLinks(const std::function<void(bool taken)>& answered) {
    Runloop::assertMain();
    run(linksOfTarvo("set") << kDesktopFile, [answered](bool well, const QString&) { answered(well); });
}

void LinkHandler::run(const QStringList& arguments,
                      const std::function<void(bool well, const QString& output)>& ended) {
    auto* process = new QProcess(this);
    connect(process, &QProcess::finished, this, [process, ended](int code, QProcess::ExitStatus status) {
        ended(code == 0 && status == QProcess::NormalExit,
              QString::fromUtf8(process->readAllStandardOutput()));
        process->deleteLater();
    });
    connect(process, &QProcess::errorOccurred, this, [process, ended](QProcess::ProcessError error) {
        if (error != QProcess::FailedToStart)
            return; // it ends, too
        ended(false, {});
        process->deleteLater();
    });
    process->start(QStringLiteral("xdg-settings"), arguments);
    process->closeWriteChannel();
}

} // namespace tarvo
