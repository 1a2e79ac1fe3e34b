// Which program the desktop opens links of tarvo with, and how that becomes this one.
#pragma once

#include <functional>

#include <QObject>
#include <QProcess>
#include <QString>

namespace tarvo {

/// Main thread. Asks xdg-settings (xdg-utils), which is not waited for.
class LinkHandler final : public QObject {
    Q_OBJECT

public:
    LinkHandler();

    /// Whether a desktop file of the program is installed: without one it can't be chosen.
    static bool canBeThisProgram();

    /// Tells whether links go elsewhere. Where it can't be found out, nothing is told.
    void ask(const std::function<void(bool areElsewhere)>& answered);

    /// Makes this program the one; answers whether that worked.
    void takeLinks(const std::function<void(bool taken)>& answered);

private:
    using Ended = std::function<void(bool well, const QString& output)>;

    void run(const QStringList& arguments, Ended ended);
    void end(bool well);

    QProcess m_process;
    Ended m_ended; // of what runs
};

} // namespace tarvo
