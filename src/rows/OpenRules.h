// What may be opened by a click: files, but never what would run as a program.
#pragma once

#include <string>
#include <vector>

namespace tarvo {

struct FileKind {
    bool exists = true;
    bool isExecutable = false;            ///< its permissions let it be run
    std::vector<std::string> mimeTypes{}; ///< its own by name and content, and all that it inherits from
};

enum class Opening {
    open,
    showOnly, ///< a program or a script: only its folder is shown
    missing,  ///< it is not there any more
};

/// The permissions alone say little, for on some file systems every file has them: a picture stays a picture.
Opening howToOpen(const FileKind& file);

} // namespace tarvo
