// What happens when the main window is closed.
#pragma once

#include "base/Settings.h"

namespace tarvo {

/// What is known when the window is about to close.
struct ClosingSituation {
    bool isByUser = true;       ///< false: the session ends, or the program itself closes it
    bool isInTray = false;      ///< the program's icon can be seen in the tray
    bool isDownloading = false; ///< something would stop with the program
    bool hasToldOfTray = false; ///< the user was told once where the window goes
    ClosingMeans means = ClosingMeans::ask;
};

enum class Closing {
    quit,           ///< the program ends
    hide,           ///< the program goes on; its icon is in sight
    hideWithNotice, ///< the program goes on, and the user is told how to come back
    ask,            ///< the user says which of them, and that is kept
};

/// A program without a window and without an icon is only what the user has asked for. Where closing would
/// stop nothing, there is nothing to ask.
Closing whatClosingMeans(const ClosingSituation& situation);

} // namespace tarvo
