#include "platform/DesktopNotices.h"

#include "base/Log.h"
#include "base/Runloop.h"

#include <utility>

#include <QVariantMap>

namespace tarvo {

namespace {

constexpr int kServersChoice = -1; // how long the notice is shown

QDBusMessage methodCall(const QString& method) {
    return QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.Notifications"),
                                          QStringLiteral("/org/freedesktop/Notifications"),
                                          QStringLiteral("org.freedesktop.Notifications"), method);
}

bool isError(const QDBusMessage& answer) {
    const bool is = answer.type() == QDBusMessage::ErrorMessage;
    if (is)
        Log::verbose("The desktop showed no notice: {}", answer.errorMessage().toStdString());
    return is;
}

QVariantMap hintsOf(const UserNotice& notice) {
    QVariantMap hints{{QStringLiteral("desktop-entry"), QStringLiteral("com.unregistered.Tarvo")}};
    if (notice.playsSound)
        hints.insert(QStringLiteral("sound-name"), QStringLiteral("complete")); // Sound Naming Specification
    return hints;
}

} // namespace

void DesktopNotices::deliver(const UserNotice& notice) {
    Runloop::assertMain();
    m_sessionBus.call(methodCall(QStringLiteral("GetCapabilities")), *this,
                      [this, notice](const QDBusMessage& answer) {
                          if (!isError(answer))
                              notify(notice, answer.arguments().value(0).toStringList());
                      });
}

void DesktopNotices::notify(const UserNotice& notice, const QStringList& capabilities) {
    QStringList actions; // each a key and a label; the key is the button's number
    if (capabilities.contains(QLatin1String("actions"))) {
        for (std::size_t i = 0; i < notice.buttons.size(); ++i)
            actions << QString::number(i) << QString::fromStdString(notice.buttons[i].label);
    }
    if (!actions.isEmpty())
        listen();
    const auto text = QString::fromStdString(notice.informativeText);
    const bool readsMarkup = capabilities.contains(QLatin1String("body-markup"));
    auto message = methodCall(QStringLiteral("Notify"));
    message << QStringLiteral("Tarvo") << 0U << QString() // replaces no other; icon: the desktop entry's
            << QString::fromStdString(notice.title) << (readsMarkup ? text.toHtmlEscaped() : text) << actions
            << hintsOf(notice) << kServersChoice;
    m_sessionBus.call(message, *this,
                      [this, buttons = actions.isEmpty() ? std::vector<NoticeButton>()
                                                         : notice.buttons](const QDBusMessage& answer) {
                          if (!isError(answer) && !buttons.empty())
                              m_buttons[answer.arguments().value(0).toUInt()] = buttons;
                      });
}

void DesktopNotices::listen() {
    const QString name = m_sessionBus.connection().name();
    if (std::exchange(m_listensOn, name) == name)
        return;
    const QString interface = QStringLiteral("org.freedesktop.Notifications");
    m_sessionBus.listen(interface, QStringLiteral("ActivationToken"), {}, this,
                        SLOT(tokenGiven(QDBusMessage)));
    m_sessionBus.listen(interface, QStringLiteral("ActionInvoked"), {}, this,
                        SLOT(buttonPressed(QDBusMessage)));
    m_sessionBus.listen(interface, QStringLiteral("NotificationClosed"), {}, this,
                        SLOT(noticeClosed(QDBusMessage)));
}

void DesktopNotices::tokenGiven(const QDBusMessage& signal) {
    const uint number = signal.arguments().value(0).toUInt();
    if (m_buttons.contains(number))
        m_tokens[number] = signal.arguments().value(1).toString().toStdString();
}

void DesktopNotices::buttonPressed(const QDBusMessage& signal) {
    const uint number = signal.arguments().value(0).toUInt();
    const auto notice = m_buttons.find(number);
    bool isNumber = false;
    const std::size_t button = signal.arguments().value(1).toString().toUInt(&isNumber);
    if (notice == m_buttons.end() || !isNumber || button >= notice->second.size())
        return;
    const auto pressed = notice->second[button].pressed;
    const std::string token = m_tokens[number];
    noticeClosed(signal); // a second press is of no use
    pressed(token);
}

void DesktopNotices::noticeClosed(const QDBusMessage& signal) {
    const uint number = signal.arguments().value(0).toUInt();
    m_buttons.erase(number);
    m_tokens.erase(number);
}

} // namespace tarvo
