// The filters that the list of downloads offers.
#pragma once

#include <string_view>
#include <vector>

#include "jobs/RemoteFile.h"

namespace tarvo {

/// Which states a filter shows. No states: every job.
struct JobFilter {
    std::string_view identifier;
    std::string_view labelKey;
    std::vector<rf_state_t> states;

    /// In the order in which the list offers them.
    static const std::vector<JobFilter>& all();
};

} // namespace tarvo
