#include "ui/LinkHandler.h"

#include <utility>

#include <QStandardPaths>

#include "base/Runloop.h"

namespace tarvo {

namespace {

const QString kDesktopFile = QStringLiteral("com.unregistered.Tarvo.desktop");

QStringList linksOfTarvo(const char* verb) {
    return {QString::fromLatin1(verb), QStringLiteral("default-url-scheme-handler"), QStringLiteral("tarvo")};
}

} // namespace

LinkHandler::LinkHandler() {
    Runloop::assertMain();
    connect(&m_process, &QProcess::finished, this, [this](int code, QProcess::ExitStatus status) {
        end(code == 0 && status == QProcess::NormalExit);
    });
    connect(&m_process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart) // the others end it, too
            end(false);
    });
}

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

/// One at a time: what is asked for while another runs is dropped.
void LinkHandler::run(const QStringList& arguments, Ended ended) {
    if (m_process.state() != QProcess::NotRunning)
        return;
    m_ended = std::move(ended);
    m_process.start(QStringLiteral("xdg-settings"), arguments);
    m_process.closeWriteChannel();
}

void LinkHandler::end(bool well) {
    const QString output = QString::fromUtf8(m_process.readAllStandardOutput());
    if (const Ended ended = std::exchange(m_ended, nullptr))
        ended(well, output);
}

} // namespace tarvo
