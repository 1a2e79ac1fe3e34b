// The port to what tells the user of errors and asks before something is removed.
#pragma once

#include <string>
#include <vector>

#include "base/Error.h"

namespace tarvo {

/// Main thread.
class AlertPresenter {
public:
    virtual ~AlertPresenter() = default;

    virtual void presentError(const Error& error) = 0;

    /// Asks and waits for the answer: the index of a button of `buttons`.
    virtual std::size_t runAlert(const std::string& message, const std::string& informativeText,
                                 const std::vector<std::string>& buttons) = 0;
};

} // namespace tarvo
