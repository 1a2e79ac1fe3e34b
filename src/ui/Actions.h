// Everything that can be done in the main window: each command once, with its words and its keys.
#pragma once

#include <vector>

#include <QAction>
#include <QActionGroup>
#include <QObject>

namespace tarvo {

struct StartStopControl;

/// Main thread. What a command does is connected by the object that does it; toolbar, menus and context menu
/// show these same objects.
class Actions final : public QObject {
    Q_OBJECT

public:
    explicit Actions(QObject* parent);

    // File
    QAction* add;
    QAction* addFromClipboard; ///< adds the links in the clipboard
    QAction* browser;
    QAction* quit;

    // Queue
    QAction* startPause; ///< starts the queue, or pauses every job
    QAction* clearCompleted;

    // The selected rows
    QAction* open;
    QAction* showInFolder;
    QAction* copyAddress;
    QAction* pause;
    QAction* resume;
    QAction* pauseOrResume; ///< of the two above, the one that fits
    QAction* reload;
    QAction* moveToTop;
    QAction* moveUp;
    QAction* moveDown;
    QAction* moveToBottom;
    QAction* connections;
    QAction* rename;
    QAction* changeAddress;
    QAction* checksums;
    QAction* information;
    QAction* preview;
    QAction* remove;
    QAction* removeWithData;

    // View
    QAction* find;
    QActionGroup* filters; ///< one for each of JobFilter::all(), in their order; its index is its data

    // Tools and help
    QAction* preferences;
    QAction* log;
    QAction* help;
    QAction* about;

    /// The words and the state of `startPause`.
    void showStartStopControl(const StartStopControl& control);

private:
    static void tip(QAction& action, std::string_view key, const QAction& withKeys);
    QAction* make(std::string_view key, const QList<QKeySequence>& keys = {}, const char* icon = nullptr);
    void makeFilters();
};

} // namespace tarvo
