#include "pages/BrowserProcess.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include "base/Log.h"
#include "base/Runloop.h"

#include <utility>

namespace tarvo {

namespace {

constexpr int kPatienceMs = 1000; // for a process that was asked to end

Error problem(std::string_view key, std::string_view recoveryKey) {
    return Error::localized(ErrorDomain::Tarvo, kTarvoGeneral, key, recoveryKey);
}

Error isBroken() {
    return problem("tr.err.browser-broken", "tr.err.browser-broken-recovery");
}

} // namespace

BrowserProcess::BrowserProcess(Command command) : m_command(std::move(command)) {
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    connect(&m_process, &QProcess::readyReadStandardOutput, this, &BrowserProcess::read);
    connect(&m_process, &QProcess::finished, this,
            [this](int code, QProcess::ExitStatus status) { finish(status, code); });
    connect(&m_process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            finish(QProcess::CrashExit, 0);
    });
}

BrowserProcess::~BrowserProcess() {
    m_process.disconnect(this);
    m_process.closeWriteChannel();
    if (isRunning() && !m_process.waitForFinished(kPatienceMs)) {
        m_process.kill();
        m_process.waitForFinished(kPatienceMs);
    }
}

BrowserProcess::Command BrowserProcess::installed() {
    const QDir here(QCoreApplication::applicationDirPath());
    for (const char* place : {"tarvo-browser", "../libexec/tarvo/tarvo-browser"}) {
        const QFileInfo file(here, QString::fromLatin1(place));
        if (file.isFile() && file.isExecutable())
            return {QDir::cleanPath(file.absoluteFilePath()).toStdString()};
    }
    return {};
}

Result<void> BrowserProcess::start(const StartBrowser& first) {
    Runloop::assertMain();
    if (isRunning())
        return {};
    if (m_command.program.empty())
        return failure(problem("tr.err.browser-missing", "tr.err.browser-missing-recovery"));
    m_lines = {};
    m_problem.reset();
    m_hasGreeted = false;
    m_process.start(QString::fromStdString(m_command.program), m_command.arguments);
    send(first);
    return {};
}

void BrowserProcess::send(const ToBrowser& message) {
    Runloop::assertMain();
    if (isRunning())
        m_process.write(QByteArray::fromStdString(lineOf(message)));
}

void BrowserProcess::read() {
    const QByteArray bytes = m_process.readAllStandardOutput();
    const bool goesOn =
        m_lines.add({bytes.data(), static_cast<std::size_t>(bytes.size())}, [this](std::string_view line) {
            const auto message = fromBrowserOf(line);
            return message && take(*message);
        });
    if (goesOn)
        return;
    Log::error("The browser's process says what can't be understood, and is ended");
    m_problem = isBroken();
    m_process.kill();
}

/// Answers whether it is what can come now.
bool BrowserProcess::take(const FromBrowser& message) {
    if (const auto* hello = std::get_if<BrowserHello>(&message))
        return !std::exchange(m_hasGreeted, true) && hello->protocol == kBrowserProtocol;
    if (!m_hasGreeted)
        return false;
    if (const auto* why = std::get_if<BrowserUnavailable>(&message)) {
        m_problem = why->reason == "root" ? problem("tr.err.browser-root", "tr.err.browser-root-recovery")
                                          : problem("tr.err.browser-ended", "tr.err.browser-ended-recovery");
        return true;
    }
    Q_EMIT received(message);
    return true;
}

void BrowserProcess::finish(QProcess::ExitStatus status, int code) {
    read(); // its last words
    const bool isWell = status == QProcess::NormalExit && code == 0;
    if (!isWell && !m_problem)
        m_problem = problem("tr.err.browser-ended", "tr.err.browser-ended-recovery");
    Log::info("The browser's process has ended{}", isWell ? "" : " unexpectedly");
    Q_EMIT ended(m_problem);
}

} // namespace tarvo
