// Opens finished files with the desktop's programs, and shows files in the desktop's file manager.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <QObject>

#include "base/LookQueue.h"
#include "platform/DesktopBus.h"
#include "queue/AlertPresenter.h"
#include "rows/OpenRules.h"

namespace tarvo {

/// Main thread; never waits for the disk or for other programs. Paths are absolute.
class FileOpener final : public QObject {
    Q_OBJECT

public:
    /// `alerts` outlives it, and is told what can't be opened.
    explicit FileOpener(AlertPresenter& alerts);

    /// A program or a script is never run: it is shown in its folder, and the user is told so.
    void open(const std::vector<std::string>& files);

    /// Selected in the windows of their folders where the file manager can (the interface FileManager1 of
    /// freedesktop.org); of what is not there, the folder is shown.
    void showInFolder(const std::vector<std::string>& paths);

    /// The folder itself, or the nearest above it that is there.
    void openFolder(const std::string& folder);

private:
    static constexpr std::size_t kMostLooks = 8; // one on a disk that is away holds no other back

    void openAs(Opening opening, const std::string& file);
    void openNow(const std::string& file);
    void askFileManager(const std::vector<std::string>& paths);
    void onWorker(std::function<std::function<void()>()> task);

    AlertPresenter& m_alerts;
    DesktopBus m_bus{DesktopBus::sessionAddress()};
    LookQueue m_looks{kMostLooks};
};

} // namespace tarvo
