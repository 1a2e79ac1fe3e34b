#include "ui/Actions.h"

#include <QKeySequence>

#include "queue/JobFilter.h"
#include "queue/QueueRun.h"
#include "ui/Icons.h"
#include "ui/Text.h"

namespace tarvo {

Actions::Actions(QObject* parent)
    : QObject(parent), add(make("tr.action.add", {QKeySequence::New}, "list-add")),
      addFromClipboard(make("tr.action.add-from-clipboard", {QKeySequence::Paste}, "edit-paste")),
      browser(make("tr.action.browser", {QKeySequence(Qt::CTRL | Qt::Key_B)}, "applications-internet")),
      quit(make("tr.action.quit", {QKeySequence(Qt::CTRL | Qt::Key_Q)}, "application-exit")),
      startPause(make("Start", {QKeySequence(Qt::CTRL | Qt::Key_R)})),
      clearCompleted(make("tr.action.clear-completed")),
      open(make("tr.action.open", {QKeySequence(Qt::Key_Return), QKeySequence(Qt::Key_Enter)},
                "document-open")),
      showInFolder(make("tr.action.show-in-folder", {}, "folder")),
      copyAddress(make("tr.action.copy-address", {QKeySequence::Copy}, "edit-copy")),
      pause(make("tr.action.pause", {}, "media-playback-pause")),
      resume(make("tr.action.resume", {}, "media-playback-start")),
      pauseOrResume(make("tr.action.pause-or-resume", {QKeySequence(Qt::Key_Space)})),
      reload(make("tr.action.reload", {QKeySequence(Qt::Key_F5)}, "view-refresh")),
      moveToTop(make("tr.action.move-to-top", {QKeySequence(Qt::CTRL | Qt::Key_PageUp)}, "go-top")),
      moveUp(make("tr.action.move-up", {QKeySequence(Qt::CTRL | Qt::Key_Up)}, "go-up")),
      moveDown(make("tr.action.move-down", {QKeySequence(Qt::CTRL | Qt::Key_Down)}, "go-down")),
      moveToBottom(
          make("tr.action.move-to-bottom", {QKeySequence(Qt::CTRL | Qt::Key_PageDown)}, "go-bottom")),
      connections(make("tr.action.connections")),
      rename(make("tr.action.rename", {QKeySequence(Qt::Key_F2)})),
      changeAddress(make("tr.action.change-address")), checksums(make("tr.action.checksums")),
      information(make("tr.action.information",
                       {QKeySequence(Qt::ALT | Qt::Key_Return), QKeySequence(Qt::ALT | Qt::Key_Enter)},
                       "document-properties")),
      preview(make("tr.action.preview", {QKeySequence(Qt::CTRL | Qt::Key_Y)})),
      remove(make("tr.action.remove", {QKeySequence(Qt::Key_Delete)}, "list-remove")),
      removeWithData(
          make("tr.action.remove-with-data", {QKeySequence(Qt::SHIFT | Qt::Key_Delete)}, "edit-delete")),
      find(make("tr.action.find", {QKeySequence::Find}, "edit-find")), filters(new QActionGroup(this)),
      preferences(
          make("tr.action.preferences", {QKeySequence(Qt::CTRL | Qt::Key_Comma)}, "preferences-system")),
      log(make("tr.action.log")), help(make("tr.action.help", {QKeySequence(Qt::Key_F1)}, "help-contents")),
      about(make("tr.action.about", {}, "help-about")) {
    preview->setCheckable(true);
    makeFilters();
    tip(*add, "tr.tip.add", *add);
    tip(*pause, "tr.tip.pause", *pauseOrResume);
    tip(*resume, "tr.tip.resume", *pauseOrResume);
    tip(*remove, "tr.tip.remove", *remove);
    tip(*information, "tr.tip.information", *information);
    showStartStopControl({text("Start").toStdString(), false});
}

void Actions::tip(QAction& action, std::string_view key, const QAction& withKeys) {
    const QString keys = withKeys.shortcut().toString(QKeySequence::NativeText);
    action.setToolTip(text("tr.tip.with-keys", {localized(key), keys.toStdString()}));
}

/// Its drawings differ from those of the commands on rows: their words are partly the same.
void Actions::showStartStopControl(const StartStopControl& control) {
    startPause->setText(QString::fromStdString(control.label));
    startPause->setIcon(
        Icons::named(control.isOn ? QStringLiteral("queue-pause") : QStringLiteral("queue-start")));
    startPause->setCheckable(true);
    startPause->setChecked(control.isOn);
    tip(*startPause, control.isOn ? "tr.tip.pause-queue" : "tr.tip.start-queue", *startPause);
}

QAction* Actions::make(std::string_view key, const QList<QKeySequence>& keys, const char* icon) {
    auto* action = new QAction(text(key), this);
    action->setShortcuts(keys);
    if (icon)
        action->setIcon(Icons::named(QString::fromLatin1(icon)));
    return action;
}

void Actions::makeFilters() {
    const auto& all = JobFilter::all();
    for (std::size_t i = 0; i < all.size(); ++i) {
        auto* filter = filters->addAction(text(all[i].labelKey));
        filter->setShortcut(QKeySequence(Qt::CTRL | static_cast<Qt::Key>(Qt::Key_1 + i)));
        filter->setCheckable(true);
        filter->setChecked(i == 0);
        filter->setData(static_cast<int>(i));
    }
}

} // namespace tarvo
