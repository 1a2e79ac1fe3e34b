// The user name and password of the command line.
#pragma once

#include "cli/Options.h"
#include "jobs/AuthenticationManager.h"

namespace tarvo {

/// Has `credentials` try them at the server of `url`; a password that is left out is looked up. Main thread.
void rememberGiven(const Options& options, const Url& url, AuthenticationManager& credentials);

} // namespace tarvo
