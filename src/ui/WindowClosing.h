// Carries out what closing the main window means.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include <QMessageBox>

#include "queue/UserNotices.h"
#include "rows/Closing.h"
#include "ui/WindowEnvironment.h"

namespace tarvo {

/// Main thread. Belongs to the window.
class WindowClosing final : public QObject {
    Q_OBJECT

public:
    /// Everything referred to outlives it. `isInTray` is asked when the window is closed.
    WindowClosing(QWidget& window, const WindowEnvironment& environment, UserNotices& notices,
                  std::function<bool()> isInTray);

Q_SIGNALS:
    /// The user wants to come back, by way of the notice.
    void windowWanted(const std::string& activationToken);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    ClosingSituation situation(bool isByUser) const;
    void carryOut(Closing closing);
    void hideWithNotice();
    void ask();
    void answered(ClosingMeans means);

    const std::shared_ptr<int> m_life = std::make_shared<int>(); // ends with the object
    QWidget& m_window;
    QueueController& m_queue;
    UserDefaults& m_defaults;
    UserNotices& m_notices;
    const std::function<bool()> m_isInTray;
    QMessageBox* m_question = nullptr; // while it is open
};

} // namespace tarvo
