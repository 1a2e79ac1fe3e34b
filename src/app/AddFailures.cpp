#include "app/AddFailures.h"

#include <set>
#include <string>

#include "queue/RemoteFilesArrayController.h"

namespace tarvo {

void presentFailures(const std::vector<AddOutcome>& outcomes, AlertPresenter& alerts) {
    std::size_t duplicates = 0;
    std::set<std::string> told;
    for (const auto& outcome : outcomes) {
        duplicates += outcome.kind == AddOutcome::Kind::alreadyThere ? 1 : 0;
        if (outcome.error && told.insert(outcome.error->sentence()).second)
            alerts.presentError(*outcome.error);
    }
    if (duplicates > 0)
        alerts.presentError(RemoteFilesArrayController::duplicateDownloads(duplicates));
}

} // namespace tarvo
