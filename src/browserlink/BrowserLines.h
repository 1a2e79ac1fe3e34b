// Cuts what arrives over a pipe into lines.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "browserlink/MessageLines.h"

namespace tarvo {

/// One for each direction of a pipe, used by one thread.
class BrowserLines {
public:
    /// Hands each whole line, without its end, to `take`, and keeps the rest for the next time. `take`
    /// answers whether it goes on. Answers whether it does: after a line that is too long, or that `take` did
    /// not want, nothing that comes can be relied on.
    bool add(std::string_view bytes, const std::function<bool(std::string_view line)>& take);

private:
    std::string m_rest;
    bool m_isBroken = false;
};

} // namespace tarvo
