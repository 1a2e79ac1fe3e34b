#include "ui/WindowMenus.h"

#include "ui/Text.h"

namespace tarvo {

namespace {

void addGroups(QMenu& menu, const std::initializer_list<QList<QAction*>>& groups) {
    for (const auto& group : groups) {
        if (!menu.isEmpty())
            menu.addSeparator();
        menu.addActions(group);
    }
}

} // namespace

void fillRowMenu(QMenu& menu, const Actions& actions) {
    addGroups(menu, {{actions.open, actions.showInFolder, actions.copyAddress},
                     {actions.pause, actions.resume, actions.reload},
                     {actions.moveToTop, actions.moveUp, actions.moveDown, actions.moveToBottom},
                     {actions.connections, actions.rename, actions.changeAddress, actions.checksums,
                      actions.information},
                     {actions.remove, actions.removeWithData}});
}

void fillMenuBar(QMenuBar& bar, const Actions& actions) {
    addGroups(
        *bar.addMenu(text("tr.menu.file")),
        {{actions.add, actions.addFromClipboard, actions.browser}, {actions.preferences}, {actions.quit}});
    auto* download = bar.addMenu(text("tr.menu.download"));
    fillRowMenu(*download, actions);
    download->insertAction(actions.pause, actions.pauseOrResume);
    addGroups(*bar.addMenu(text("tr.menu.queue")), {{actions.startPause, actions.clearCompleted}});
    addGroups(*bar.addMenu(text("tr.menu.view")),
              {actions.filters->actions(), {actions.find}, {actions.preview, actions.log}});
    addGroups(*bar.addMenu(text("tr.menu.help")), {{actions.help, actions.about}});
}

} // namespace tarvo
