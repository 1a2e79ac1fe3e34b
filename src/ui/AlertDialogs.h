// Alerts: errors, and questions before something is removed.
#pragma once

#include "queue/AlertPresenter.h"

namespace tarvo {

/// Main thread.
class AlertDialogs final : public AlertPresenter {
public:
    void presentError(const Error& error) override;
    std::size_t runAlert(const std::string& message, const std::string& informativeText,
                         const std::vector<std::string>& buttons) override;
};

} // namespace tarvo
