// What the application was started with.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tarvo {

struct CommandLine {
    std::vector<std::string> all;  ///< for the launch options
    std::vector<std::string> open; ///< addresses, API calls, paths
    bool isHeadless = false;       ///< no window is to be opened
    std::string activationToken;   ///< what allows a window to come to the front; from the environment
};

/// Answers the status to end with, if the program is to end at once; then it has printed why.
std::optional<int> readCommandLine(int argc, char** argv, CommandLine& line);

/// Turns relative paths in `open` into absolute ones. Answers as readCommandLine() does. After
/// installLocalizedTexts().
std::optional<int> makePathsWhole(CommandLine& line);

} // namespace tarvo
