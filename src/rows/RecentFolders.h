// The folders that downloads were last put into.
#pragma once

#include <string>
#include <vector>

#include "base/UserDefaults.h"

namespace tarvo {

/// Absolute paths, the last one first. Any thread.
std::vector<std::string> recentFoldersIn(const UserDefaults& defaults);

/// Puts `folder` before the others, each of which is kept once and a few of them at all.
void keepRecentFolder(UserDefaults& defaults, const std::string& folder);

} // namespace tarvo
