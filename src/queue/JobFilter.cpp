#include "queue/JobFilter.h"

namespace tarvo {

const std::vector<JobFilter>& JobFilter::all() {
    static const std::vector<JobFilter> filters = {
        {"all", "tr.scope-bar.all", {}},
        {"running", "tr.scope-bar.running", {rf_state_running}},
        {"done", "tr.scope-bar.done", {rf_state_succeeded, rf_state_stopped}},
        {"pending", "tr.scope-bar.pending", {rf_state_ready, rf_state_initializing, rf_state_paused}},
        {"failed", "tr.scope-bar.failed", {rf_state_failed}},
    };
    return filters;
}

} // namespace tarvo
