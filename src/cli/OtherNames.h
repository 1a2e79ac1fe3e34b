// Options by the names that other download programs have for them.
#pragma once

#include <string>
#include <vector>

#include "base/Error.h"

namespace tarvo {

/// The words of a command line with this program's names in place of those of curl, wget, aria2 and axel that
/// mean the same, and without those that ask for what happens anyway. Error: a sentence on the first word
/// that can't be honoured, with what to use instead; no value is in it.
Result<std::vector<std::string>> inOwnWords(std::vector<std::string> words);

} // namespace tarvo
