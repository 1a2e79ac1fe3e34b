// What the windows are given instead of reaching for it.
#pragma once

#include <string>

#include "jobs/JobEnvironment.h"
#include "queue/AlertPresenter.h"
#include "queue/QueueController.h"

namespace tarvo {

/// Everything referred to outlives the windows.
struct WindowEnvironment {
    QueueController& queue;
    const JobEnvironment& jobs;
    UserDefaults& defaults; ///< of the jobs, to be written
    AlertPresenter& alerts;
    std::string homeFolder; ///< absolute
};

} // namespace tarvo
