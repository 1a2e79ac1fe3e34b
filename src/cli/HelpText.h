// What "tarvo-get --help" prints.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace tarvo {

/// Examples, the options in their groups, and the exit status, in lines of 80 columns at the most.
std::string helpText(const CLI::App& app);

} // namespace tarvo
