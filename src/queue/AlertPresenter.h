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

    /// Asks and waits for the answer: the index of a button of `buttons`. All else goes on meanwhile.
    virtual std::size_t runAlert(const std::string& message, const std::string& informativeText,
                                 const std::vector<std::string>& buttons) = 0;

    /// The program ends: a question that is open gets its harmless answer, and so do those to come.
    virtual void cancelAlerts() {}
};

/// The index of "Cancel" in `buttons`, else of the last one.
std::size_t harmlessAnswer(const std::vector<std::string>& buttons);

} // namespace tarvo
