#include "jobs/RenameJob.h"

#include <cerrno>

#include "base/FileName.h"
#include "base/Localized.h"
#include "base/Runloop.h"
#include "jobs/JobErrors.h"
#include "storage/ProgressBundle.h"

namespace tarvo {

Result<void> renameJob(RemoteFile& job, const std::string& name) {
    Runloop::assertMain();
    const std::string cleaned = cleanFileName(name, ProgressBundle::kExtension);
    if (cleaned.empty())
        return failure(Error::tarvo(localized("tr.rename.empty")));
    if (!job.supportsRenaming())
        return failure(illegalState());
    if (cleaned == job.fileName())
        return {};
    const ProgressBundle target(job.basePath(), cleaned);
    if (target.finalFileExists())
        return failure(Error::posix(EEXIST, "rename to", target.finalFile()));
    if (auto moved = job.moveFiles(cleaned); !moved)
        return moved;
    job.setOverridenFileName(cleaned);
    return {};
}

} // namespace tarvo
