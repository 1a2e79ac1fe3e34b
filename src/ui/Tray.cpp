#include "ui/Tray.h"

#include "base/Runloop.h"
#include "queue/RemoteFileCollectionStats.h"
#include "rows/TrayTexts.h"
#include "ui/Icons.h"
#include "ui/Text.h"

namespace tarvo {

namespace {

constexpr int kRefreshMs = 1000;

} // namespace

Tray::Tray(const Actions& actions, QueueController& queue) : m_queue(queue), m_icon(Icons::ofApplication()) {
    Runloop::assertMain();
    fillMenu(actions);
    m_refresh.setInterval(kRefreshMs);
    connect(&m_refresh, &QTimer::timeout, this, &Tray::showDownloads);
    connect(&m_menu, &QMenu::aboutToShow, this, [this] {
        showDownloads();
        m_refresh.start();
    });
    connect(&m_menu, &QMenu::aboutToHide, &m_refresh, &QTimer::stop);
    connect(&m_icon, &QSystemTrayIcon::activated, this,
            [this, &actions](QSystemTrayIcon::ActivationReason reason) { clicked(reason, actions); });
    connect(&m_queue, &QueueController::ticked, this, &Tray::showTip);
    showDownloads();
    showTip();
    m_icon.setContextMenu(&m_menu);
    m_icon.show();
}

void Tray::fillMenu(const Actions& actions) {
    addOpener(text("tr.tray.show"));
    auto* add = addOpener(actions.add->text());
    add->setIcon(actions.add->icon());
    connect(add, &QAction::triggered, actions.add,
            &QAction::trigger); // on the window, which is there by then
    m_menu.addActions({actions.addFromClipboard, actions.startPause});
    m_menu.addSeparator();
    for (int i = 0; i < kMostDownloads; ++i)
        m_downloads.push_back(addOpener({}));
    m_menu.addSeparator();
    m_menu.addActions({actions.preferences, actions.quit});
}

QAction* Tray::addOpener(const QString& words) {
    auto* action = m_menu.addAction(words);
    connect(action, &QAction::triggered, this, &Tray::windowWanted);
    return action;
}

/// A click shows the window. The menu comes from the desktop, which is told of it (com.canonical.dbusmenu).
void Tray::clicked(QSystemTrayIcon::ActivationReason reason, const Actions& actions) {
    if (reason == QSystemTrayIcon::MiddleClick)
        actions.addFromClipboard->trigger();
    else if (reason != QSystemTrayIcon::Context)
        Q_EMIT windowWanted();
}

void Tray::showDownloads() {
    std::vector<QueueController::Job> running;
    m_queue.remoteFiles().content().forEachIn({rf_state_running}, [&](const QueueController::Job& job) {
        running.push_back(job);
        return running.size() < m_downloads.size();
    });
    for (std::size_t i = 0; i < m_downloads.size(); ++i) {
        m_downloads[i]->setVisible(i < running.size());
        if (i < running.size())
            m_downloads[i]->setText(
                QString::fromStdString(trayLine(running[i]->displayName(), running[i]->percentComplete())));
    }
}

void Tray::showTip() {
    std::vector<QueueController::Job> running;
    m_queue.remoteFiles().content().forEachIn({rf_state_running}, [&](const QueueController::Job& job) {
        running.push_back(job);
        return true;
    });
    QString tip = QStringLiteral("Tarvo");
    if (!running.empty()) {
        const RemoteFileCollectionStats stats(std::move(running));
        tip += QStringLiteral("\n") +
               QString::fromStdString(trayTip(stats.currentSpeed(), stats.percentDownloaded()));
    }
    if (m_icon.toolTip() != tip)
        m_icon.setToolTip(tip);
}

} // namespace tarvo
