#include "ui/Presence.h"

#include <QGuiApplication>

#include "base/Runloop.h"

namespace tarvo {

Presence::Presence(DesktopBus& sessionBus) : m_watch(sessionBus) {
    m_grace.setInterval(kGraceMs);
    m_grace.setSingleShot(true);
    m_missing.setInterval(kMissingMs);
    m_missing.setSingleShot(true);
    connect(&m_missing, &QTimer::timeout, this, &Presence::tellOfMissingTray);
    connect(&m_watch, &TrayWatch::changed, this, &Presence::update);
    connect(&m_grace, &QTimer::timeout, this, [this] {
        if (!m_tray && m_window && !m_window->isVisible())
            Q_EMIT windowWanted();
    });
}

void Presence::attach(QueueWindow& window, QueueController& queue) {
    Runloop::assertMain();
    m_window = &window;
    m_queue = &queue;
    connect(&window, &QObject::destroyed, this, [this] {
        m_window = nullptr;
        m_tray.reset();
    });
    QTimer::singleShot(0, this, [this] { m_watch.start(); }); // when the window is there
    update();
}

void Presence::showStatusItem() {
    m_wantsItem = true;
    update();
}

void Presence::removeStatusItem() {
    m_wantsItem = false;
    update();
}

void Presence::setIconVisible(bool visible) {
    m_isIconVisible = visible;
    updateTaskBar();
}

void Presence::update() {
    Runloop::assertMain();
    if (isTrayMissing())
        m_missing.start();
    else
        tellOfMissingTray();
    const bool shallBe = m_wantsItem && m_watch.isTrayThere() && m_window;
    if (shallBe == isInTray())
        return;
    if (shallBe) {
        m_grace.stop();
        m_tray = std::make_unique<Tray>(m_window->actions(), *m_queue);
        connect(m_tray.get(), &Tray::windowWanted, this, &Presence::windowWanted);
    } else {
        m_tray.reset();
        m_grace.start();
    }
    updateTaskBar();
}

void Presence::tellOfMissingTray() {
    if (m_window)
        m_window->hints().setTrayMissing(isTrayMissing());
}

/// Said by the window's kind: a tool window is not listed. Wayland knows no such wish.
void Presence::updateTaskBar() {
    const bool isListed = m_isIconVisible || !m_tray;
    if (!m_window || QGuiApplication::platformName() != QLatin1String("xcb") ||
        isListed == (m_window->windowType() == Qt::Window))
        return;
    const bool wasVisible = m_window->isVisible();
    const QByteArray geometry = m_window->saveGeometry();
    m_window->setWindowFlags((m_window->windowFlags() & ~Qt::WindowType_Mask) |
                             (isListed ? Qt::Window : Qt::Tool));
    m_window->restoreGeometry(geometry);
    if (wasVisible) // a change of kind hides it
        m_window->show();
}

} // namespace tarvo
