// The port to the one place to which everything is handed that the program is to download.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "input/Pasteboard.h"
#include "queue/AddOutcome.h"

namespace tarvo {

/// Main thread. A window, or what takes its place where there is none.
class MainWindow {
public:
    virtual ~MainWindow() = default;

    /// The links in `text`, one a line. Answers what became of each line, in their order; the caller
    /// tells the user about it.
    virtual std::vector<AddOutcome> addDownloadFromString(const std::string& text) = 0;

    /// The unfinished download in the folder `bundle` (absolute path).
    virtual AddOutcome addDownloadFromBundleFile(const std::string& bundle) = 0;

    /// What was dropped or pasted. Answers whether there was anything to take.
    virtual bool acceptDrop(const Pasteboard& pasteboard) = 0;

    /// Calls `done` once all that was added before is kept over the end of the program, however it comes, or
    /// could not be: then with false.
    virtual void whenKept(std::function<void(bool kept)> done) = 0;

    virtual void toggleAutorun() = 0;
    virtual void bringToFront() = 0;
};

} // namespace tarvo
