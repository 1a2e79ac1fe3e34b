// Where the program keeps what it notes about itself.
#pragma once

#include <string>

namespace tarvo {

/// $XDG_STATE_HOME/tarvo, by the XDG Base Directory Specification (0.8); not made yet.
std::string stateFolder();

} // namespace tarvo
