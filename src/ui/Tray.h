// The program's icon in the tray, with its menu.
#pragma once

#include <memory>
#include <vector>

#include <QMenu>
#include <QSystemTrayIcon>
#include <QTimer>

#include "queue/QueueController.h"
#include "ui/Actions.h"

namespace tarvo {

/// To be made only where there is a tray, or QSystemTrayIcon waits for one. Main thread.
class Tray final : public QObject {
    Q_OBJECT

public:
    /// Of the running downloads in the menu.
    static constexpr int kMostDownloads = 10;

    /// All of them outlive it.
    Tray(const Actions& actions, QueueController& queue);

    const QMenu& menu() const { return m_menu; }

Q_SIGNALS:
    void windowWanted();

private:
    void fillMenu(const Actions& actions);
    QAction* addOpener(const QString& words);
    void clicked(QSystemTrayIcon::ActivationReason reason, const Actions& actions);
    void showDownloads();
    void showTip();

    QueueController& m_queue;
    QMenu m_menu;
    std::vector<QAction*> m_downloads; // as many as there may be, those without one hidden
    QTimer m_refresh;                  // while the menu is open
    QSystemTrayIcon m_icon;
};

} // namespace tarvo
