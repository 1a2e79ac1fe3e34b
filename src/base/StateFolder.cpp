#include "base/StateFolder.h"

#include <cstdlib>

#include <QDir>

namespace tarvo {

std::string stateFolder() {
    const char* state = std::getenv("XDG_STATE_HOME");
    // A relative path in the variable is to be ignored.
    const bool usable = state && *state == '/';
    return (usable ? state : QDir::homePath().toStdString() + "/.local/state") + "/tarvo";
}

} // namespace tarvo
