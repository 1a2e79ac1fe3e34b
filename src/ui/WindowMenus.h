// The menus of the main window.
#pragma once

#include <QMenu>
#include <QMenuBar>

#include "ui/Actions.h"

namespace tarvo {

/// Every command there is, in menus of the bar.
void fillMenuBar(QMenuBar& bar, const Actions& actions);

/// What can be done with the selected rows.
void fillRowMenu(QMenu& menu, const Actions& actions);

} // namespace tarvo
