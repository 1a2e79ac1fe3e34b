// The port to the browser that shows a page which stands in the way of a file.
#pragma once

#include <memory>

#include "jobs/RemoteFile.h"

namespace tarvo {

enum class BrowserEndReason {
    cancelled = 0, ///< the user has closed the page
    movedOut = 1,  ///< the page goes on in a window of its own, whose downloads are added on their own
    download = 2,  ///< a download was started from the page
};

class PageOpener {
public:
    virtual ~PageOpener() = default;

    /// Shows the page at the address of `job` and returns when that has ended. With the reason `download`,
    /// `replacement` is the new job. On a worker.
    virtual BrowserEndReason openBrowserFor(const std::shared_ptr<RemoteFile>& job,
                                            std::shared_ptr<RemoteFile>& replacement) = 0;

    /// The program ends: openBrowserFor() answers `cancelled` now and from now on, for one may just be on its
    /// way to a page. Main thread.
    virtual void closePages() = 0;
};

} // namespace tarvo
