// Dark, light or high contrast, as the user has told the desktop.
#pragma once

#include <QDBusMessage>
#include <QObject>
#include <QPalette>
#include <QPointer>

#include "platform/DesktopBus.h"
#include "ui/OutlineStyle.h"

namespace tarvo {

/// Follows org.freedesktop.portal.Settings, namespace org.freedesktop.appearance, without waiting; where
/// there is no portal, the variable GTK_THEME. Where the desktop's own palette is dark already, only contrast
/// is added. Main thread.
class ColourScheme final : public QObject {
    Q_OBJECT

public:
    /// `sessionBus` outlives it.
    explicit ColourScheme(DesktopBus& sessionBus);

    void start();

private:
    Q_SLOT void settingChanged(const QDBusMessage& signal);
    void ask(const QString& key);
    void take(const QString& key, const QVariant& value);
    void apply();
    void drawOutlines(float strength);

    DesktopBus& m_sessionBus;
    bool m_isDark = false;
    bool m_isHighContrast = false;
    bool m_hasOwnPalette = false;
    QPointer<OutlineStyle> m_outlines; // the application's, once there was a palette of our own
};

/// The palette for what the user wants.
QPalette schemePalette(bool isDark, bool isHighContrast);

} // namespace tarvo
