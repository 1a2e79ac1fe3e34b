// The clipboard and drags of the desktop in the form in which links are looked for.
#pragma once

#include <QMimeData>

#include "input/Pasteboard.h"

namespace tarvo {

/// Only the kinds of data are read that can hold links: reading asks the other program. Main thread.
Pasteboard pasteboardOf(const QMimeData& data);

/// What is on the clipboard. Main thread.
Pasteboard clipboardContent();

} // namespace tarvo
