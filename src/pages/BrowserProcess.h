// The process of the built-in browser.
#pragma once

#include <optional>
#include <string>

#include <QObject>
#include <QProcess>

#include "base/Error.h"
#include "browserlink/BrowserLines.h"
#include "browserlink/MessageLines.h"

namespace tarvo {

/// Main thread. Started when it is wanted, and again after its end.
class BrowserProcess final : public QObject {
    Q_OBJECT

public:
    /// The program and what comes before its own arguments.
    struct Command {
        std::string program; ///< an absolute path; empty where there is none
        QStringList arguments{};
    };

    explicit BrowserProcess(Command command);

    /// Ends the process.
    ~BrowserProcess() override;

    /// tarvo-browser beside this program, or where packages put it.
    static Command installed();

    bool isRunning() const { return m_process.state() != QProcess::NotRunning; }

    /// Error: it is not installed. Whether it runs well shows later, by the signals.
    Result<void> start(const StartBrowser& first);

    /// A process that does not run hears nothing.
    void send(const ToBrowser& message);

    /// Asks it to end, which takes it a moment.
    void close() { m_process.closeWriteChannel(); }

Q_SIGNALS:
    void received(const tarvo::FromBrowser& message);
    /// It is no more; with the reason, unless it had nothing left to do.
    void ended(const std::optional<tarvo::Error>& problem);

private:
    void read();
    bool take(const FromBrowser& message);
    void finish(QProcess::ExitStatus status, int code);

    const Command m_command;
    QProcess m_process;
    BrowserLines m_lines;
    std::optional<Error> m_problem; // that the process itself has told of
    bool m_hasGreeted = false;
};

} // namespace tarvo
