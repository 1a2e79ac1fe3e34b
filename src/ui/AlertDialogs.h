// Alerts: errors, and questions before something is removed.
#pragma once

#include <vector>

#include <QMessageBox>
#include <QPointer>

#include "queue/AlertPresenter.h"
#include "ui/ErrorList.h"

namespace tarvo {

/// Main thread.
class AlertDialogs final : public AlertPresenter {
public:
    AlertDialogs() = default;
    ~AlertDialogs() override;
    AlertDialogs(const AlertDialogs&) = delete;
    AlertDialogs& operator=(const AlertDialogs&) = delete;

    /// The window that alerts belong to from now on; before, they stand alone.
    void setWindow(QWidget* window);

    void presentError(const Error& error) override;
    std::size_t runAlert(const std::string& message, const std::string& informativeText,
                         const std::vector<std::string>& buttons) override;
    void cancelAlerts() override;

private:
    QPointer<QWidget> m_window;
    QPointer<ErrorList> m_errors;
    std::vector<QMessageBox*> m_questions; // that are open, the last above the others
    bool m_isOver = false;
};

} // namespace tarvo
