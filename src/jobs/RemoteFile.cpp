#include "jobs/RemoteFile.h"

#include "base/Localized.h"

namespace tarvo {

std::string statusText(int state) {
    switch (state) {
    case rf_state_initializing:
        return localized("Initializing");
    case rf_state_ready:
        return localized("Ready");
    case rf_state_running:
        return localized("Running");
    case rf_state_paused:
        return localized("Paused");
    case rf_state_failed:
        return localized("Failed");
    case rf_state_stopped:
        return localized("Stopped");
    case rf_state_succeeded:
        return localized("Succeeded");
    default:
        return "Unknown";
    }
}

} // namespace tarvo
