// Tells a person what of that which was added was not taken.
#pragma once

#include <vector>

#include "queue/AddOutcome.h"
#include "queue/AlertPresenter.h"

namespace tarvo {

/// One alert for all that were in the queue already, and one for each reason for a refusal. Main thread.
void presentFailures(const std::vector<AddOutcome>& outcomes, AlertPresenter& alerts);

} // namespace tarvo
