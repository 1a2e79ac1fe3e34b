#include "ui/ColourScheme.h"

#include <utility>

#include <QApplication>
#include <QDBusVariant>
#include <QStyle>

#include "base/Runloop.h"

namespace tarvo {

namespace {

const QString kAppearance = QStringLiteral("org.freedesktop.appearance");
const QString kScheme = QStringLiteral("color-scheme");
const QString kContrast = QStringLiteral("contrast");
const QString kSettings = QStringLiteral("org.freedesktop.portal.Settings");

constexpr uint kPrefersDark = 1; // of the key color-scheme; 2 is light, 0 no wish
constexpr uint kHighContrast = 1;
constexpr int kHalfLight = 128;

/// Read() of the portal puts the value into two envelopes, the signal into one.
QVariant unwrapped(QVariant value) {
    while (value.userType() == qMetaTypeId<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value;
}

bool isDarkTheme(const QString& name) {
    return name.endsWith(QLatin1String("-dark"), Qt::CaseInsensitive) ||
           name.endsWith(QLatin1String(":dark"));
}

/// `text` on `base`, with shades between them.
QPalette paletteOf(const QColor& window, const QColor& base, const QColor& text, const QColor& highlight,
                   const QColor& onHighlight) {
    QPalette palette(text, window, window.lighter(140), window.darker(160), window.darker(120), text,
                     Qt::white, base, window);
    palette.setColor(QPalette::AlternateBase, window);
    palette.setColor(QPalette::ToolTipBase, window);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::Highlight, highlight);
    palette.setColor(QPalette::HighlightedText, onHighlight);
    palette.setColor(QPalette::Link, highlight.lighter(150));
    const QColor faint((text.red() + window.red()) / 2, (text.green() + window.green()) / 2,
                       (text.blue() + window.blue()) / 2);
    palette.setColor(QPalette::Mid, faint);
    palette.setColor(QPalette::PlaceholderText, faint);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, faint);
    return palette;
}

} // namespace

QPalette schemePalette(bool isDark, bool isHighContrast) {
    if (isDark && isHighContrast)
        return paletteOf(Qt::black, Qt::black, Qt::white, Qt::yellow, Qt::black);
    if (isDark)
        return paletteOf({0x32, 0x32, 0x35}, {0x1e, 0x1e, 0x20}, {0xee, 0xee, 0xec}, {0x2a, 0x6f, 0xc4},
                         Qt::white);
    if (isHighContrast)
        return paletteOf(Qt::white, Qt::white, Qt::black, {0x00, 0x00, 0x90}, Qt::white);
    return {};
}

ColourScheme::ColourScheme(DesktopBus& sessionBus)
    : m_sessionBus(sessionBus), m_isDark(isDarkTheme(qEnvironmentVariable("GTK_THEME"))) {
}

void ColourScheme::start() {
    Runloop::assertMain();
    apply();
    m_sessionBus.listen(kSettings, QStringLiteral("SettingChanged"), kAppearance, this,
                        SLOT(settingChanged(QDBusMessage)));
    ask(kScheme);
    ask(kContrast);
}

void ColourScheme::settingChanged(const QDBusMessage& signal) {
    take(signal.arguments().value(1).toString(), signal.arguments().value(2));
}

void ColourScheme::ask(const QString& key) {
    auto call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.portal.Desktop"),
                                               QStringLiteral("/org/freedesktop/portal/desktop"), kSettings,
                                               QStringLiteral("Read"));
    call << kAppearance << key;
    m_sessionBus.call(call, *this, [this, key](const QDBusMessage& answer) {
        if (answer.type() == QDBusMessage::ReplyMessage)
            take(key, answer.arguments().value(0));
    });
}

void ColourScheme::take(const QString& key, const QVariant& value) {
    Runloop::assertMain();
    const uint number = unwrapped(value).toUInt();
    if (key == kScheme)
        m_isDark = number == kPrefersDark;
    else if (key == kContrast)
        m_isHighContrast = number == kHighContrast;
    else
        return;
    apply();
}

void ColourScheme::apply() {
    if (std::exchange(m_hasOwnPalette, false))
        QApplication::setPalette(QPalette()); // the desktop's own
    const bool isDarkAlready = QApplication::palette().color(QPalette::Window).lightness() < kHalfLight;
    const bool isDark = m_isDark || isDarkAlready;
    m_hasOwnPalette = isDark != isDarkAlready || m_isHighContrast;
    const float onOwn = m_isHighContrast ? OutlineStyle::kHighContrast : OutlineStyle::kOnDark;
    drawOutlines(m_hasOwnPalette ? onOwn : 0);
    if (m_hasOwnPalette)
        QApplication::setPalette(schemePalette(isDark, m_isHighContrast));
}

/// Other styles than Qt's own know how to be seen on any palette.
void ColourScheme::drawOutlines(float strength) {
    if (!m_outlines && strength > 0 && QApplication::style()->name() == QLatin1String("fusion")) {
        m_outlines = new OutlineStyle(QStringLiteral("fusion"));
        QApplication::setStyle(m_outlines); // whose it is then
    }
    if (m_outlines)
        m_outlines->setStrength(strength);
}

} // namespace tarvo
