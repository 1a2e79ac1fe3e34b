// Where the desktop shows the program: in the tray, in the task bar.
#pragma once

#include <memory>

#include <QTimer>

#include "app/ApplicationPresence.h"
#include "ui/QueueWindow.h"
#include "ui/Tray.h"
#include "ui/TrayWatch.h"

namespace tarvo {

/// The window can always be reached: it leaves the task bar only for an icon in the tray, and a hidden one
/// comes back when that icon goes. Main thread.
class Presence final : public QObject, public ApplicationPresence {
    Q_OBJECT

public:
    /// For so long a tray may be gone, as while the desktop's panel starts anew, before the window comes
    /// back.
    static constexpr int kGraceMs = 2000;

    /// `sessionBus` outlives it.
    explicit Presence(DesktopBus& sessionBus);

    /// After so long without a tray the window says so: what asks for one waits no longer.
    static constexpr int kMissingMs = TrayWatch::kLimitMs + 1000;

    /// The window that is shown and hidden from now on. `queue` and `window` live until the window ends.
    void attach(QueueWindow& window, QueueController& queue);

    void showStatusItem() override;
    void removeStatusItem() override;
    void setIconVisible(bool visible) override;

    /// Whether the program's icon is in the tray.
    bool isInTray() const { return m_tray != nullptr; }

    const Tray* tray() const { return m_tray.get(); }

Q_SIGNALS:
    void windowWanted();

private:
    void update();
    void updateTaskBar();

    bool isTrayMissing() const { return m_wantsItem && !m_watch.isTrayThere(); }

    void tellOfMissingTray();

    TrayWatch m_watch;
    QueueWindow* m_window = nullptr; // null before and after its life
    QueueController* m_queue = nullptr;
    std::unique_ptr<Tray> m_tray;
    QTimer m_grace;
    QTimer m_missing;
    bool m_wantsItem = false;
    bool m_isIconVisible = true;
};

} // namespace tarvo
